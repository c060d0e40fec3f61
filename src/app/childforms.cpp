#include "childforms.h"

#include "displays/frmdata.h"
#include "displays/frmdisplayio.h"
#include "displays/frmmain.h"
#include "displays/frmsetup.h"

ChildForm *loadChildForm(int index, ModUtility &util, QWidget *parent)
{
    switch (index) {
    case 0:
        return new frmMain(util, parent);
    case 1:
        return new frmSetup(util, parent);
    case 2:
        return new frmData(util, parent);
    case 3:
        return new frmDisplayIO(util, parent);
    default:
        return nullptr;
    }
}
