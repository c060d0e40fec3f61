#include "faulttext.h"

#include "comm/operatorprompt.h"
#include "comm/recordfile.h"
#include "comm/registerlink.h"
#include "machine/valuetext.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

qint16 FaultCode(RegisterLink &link)
{
    return qint16(roundedTextValue(link.RSRead(QString::fromLatin1(FaultCodeRegister))));
}

QString faultFilePath(const QString &programDir)
{
    // The folder is spelt "support" by the board tools and "Support" by this
    // program's installation; take whichever exists.
    const QDir dir(programDir);
    const QString upper = dir.filePath(QStringLiteral("Support/FaultErrCodes.txt"));
    if (QFileInfo::exists(upper))
        return upper;
    const QString lower = dir.filePath(QStringLiteral("support/FaultErrCodes.txt"));
    return QFileInfo::exists(lower) ? lower : upper;
}

QString FaultDescription(const QString &programDir, int fltCode, OperatorPrompt &prompt)
{
    QString code = QString::number(quint16(fltCode), 16).toUpper();
    if (code.size() < 2)
        code.prepend(QLatin1Char('0'));
    QString line = QStringLiteral("Fault Code (") + code + QStringLiteral("H): ");

    const QString path = faultFilePath(programDir);
    if (!QFileInfo::exists(path))
        return line + QStringLiteral("--- Fault File Not Found ---");

    QByteArray content;
    if (!RecordReader::readFile(path, content)) {
        // 75 is the number the board tools use for a path or file access error.
        QFile file(path);
        const QString reason = file.open(QIODevice::ReadOnly) ? QStringLiteral("Path/File access error")
                                                              : file.errorString();
        prompt.ask(QStringLiteral("RSComm FaultDescription"),
                   QStringLiteral("Error Number = 75\r\n\r\n") + reason,
                   PromptIcon::Information, PromptButtons::Ok);
        return line;
    }
    RecordReader reader(content);
    QString key;
    QString text;
    while (reader.next(key)) {
        if (!reader.next(text))
            text.clear();
        if (key.compare(code, Qt::CaseInsensitive) == 0)
            return line + text;
    }
    return line;
}
