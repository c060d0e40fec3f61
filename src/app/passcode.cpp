#include "passcode.h"

#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "machine/valuetext.h"
#include "modutility.h"

#include "history/writeaudit.h"
#include "machine/registermap.h"

namespace
{
const QString PasscodeRegister = QString(LiveRegister::PasscodeRegister);
}

void SetupPasscode(ModUtility &util)
{
    RSComm &comm = *util.gRSComm;
    QString current;
    if (!comm.CommError)
        current = comm.RSRead(PasscodeRegister);
    const QString answer =
        util.prompt().input(QStringLiteral("Color Control Passcode"),
                            QStringLiteral("Please Enter New Passcode (0-65535)"), current);
    if (answer.isEmpty() || comm.CommError)
        return;
    // The write keeps only the digits, so "1.5" would become 15: only a
    // whole number in the register's range is written.
    if (!wholeNumberIn(answer, 0, 65535)) {
        util.prompt().ask(QStringLiteral("Color Control Passcode"),
                          QStringLiteral("Only a Number Between 0 and 65535 can be Entered"),
                          PromptIcon::Information, PromptButtons::Ok);
        return;
    }
    const History::WriteAudit::Origin origin(util.gAudit, QStringLiteral("window Set-up Passcode"));
    comm.RSWrite(PasscodeRegister, answer);
}
