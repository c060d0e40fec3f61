#pragma once
#include "displayform.h"
class frmDisplayIO : public DisplayForm
{
    Q_OBJECT
public:
    explicit frmDisplayIO(ModUtility &util, QWidget *parent = nullptr) : DisplayForm(util, parent) {}
private:
    void buildOnlinePass(QList<PassRead> &) override {}
};
