#include "passcode.h"

#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
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
    // Passed on as typed: the write itself keeps only the digits.
    const History::WriteAudit::Origin origin(util.gAudit, QStringLiteral("window Set-up Passcode"));
    if (!answer.isEmpty() && !comm.CommError)
        comm.RSWrite(PasscodeRegister, answer);
}
