#include "frmabout.h"

#include "comm/operatorprompt.h"
#include "icons.h"
#include "modutility.h"

#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSysInfo>
#include <QVBoxLayout>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

QString ownerName(uid_t uid)
{
    if (const passwd *pw = ::getpwuid(uid))
        return QString::fromLocal8Bit(pw->pw_name);
    return QString::number(uid);
}

QString groupName(gid_t gid)
{
    if (const group *gr = ::getgrgid(gid))
        return QString::fromLocal8Bit(gr->gr_name);
    return QString::number(gid);
}

QString modeText(mode_t mode)
{
    const char *const letters = "rwxrwxrwx";
    QString text;
    for (int bit = 0; bit < 9; ++bit)
        text += (mode & (0400 >> bit)) ? QLatin1Char(letters[bit]) : QLatin1Char('-');
    return text;
}

} // namespace

frmAbout::frmAbout(OperatorPrompt &prompt, QWidget *parent) : QDialog(parent), m_prompt(prompt)
{
    setObjectName(QStringLiteral("frmAbout"));
    setAttribute(Qt::WA_DeleteOnClose);
    setModal(false);
    setWindowTitle(QStringLiteral("About KESTRO"));

    picIcon = new QLabel(this);
    picIcon->setPixmap(kestroIcon(QStringLiteral("kestro")).pixmap(48, 48));
    lblTitle = new QLabel(QStringLiteral("KESTRO"), this);
    QFont titleFont = lblTitle->font();
    titleFont.setPointSize(titleFont.pointSize() + 6);
    titleFont.setBold(true);
    lblTitle->setFont(titleFont);
    lblVersion = new QLabel(QStringLiteral("Version %1.%2.%3").arg(2).arg(1).arg(3), this);
    lblDescription = new QLabel(QStringLiteral("Kestro Can Decorating Controls Division\n"
                                               "Copyright \u00A9 Kestro Controls\n"
                                               "All Rights Reserved"),
                                this);
    lblTechSupport = new QLabel(QStringLiteral("Technical Support:\n"
                                               "    Kestro Controls Service Department\n"
                                               "    1200 Industrial Parkway\n"
                                               "    Harrison, OH 45030\n"
                                               "    Phone: (513) 555-0142\n"
                                               "    Fax: (513) 555-0143\n"
                                               "\n"
                                               "Web: www.kestro-controls.example"),
                                this);
    lblTechSupport->setTextInteractionFlags(Qt::TextSelectableByMouse);
    for (QLabel *label : {picIcon, lblTitle, lblVersion, lblDescription, lblTechSupport})
        label->setTextFormat(Qt::PlainText);
    picIcon->setObjectName(QStringLiteral("picIcon"));
    lblTitle->setObjectName(QStringLiteral("lblTitle"));
    lblVersion->setObjectName(QStringLiteral("lblVersion"));
    lblDescription->setObjectName(QStringLiteral("lblDescription"));
    lblTechSupport->setObjectName(QStringLiteral("lblTechSupport"));

    cmdOk = new QPushButton(QStringLiteral("OK"), this);
    cmdOk->setObjectName(QStringLiteral("cmdOk"));
    cmdOk->setDefault(true);
    cmdSysInfo = new QPushButton(QStringLiteral("&System Info..."), this);
    cmdSysInfo->setObjectName(QStringLiteral("cmdSysInfo"));

    auto *grid = new QGridLayout(this);
    grid->addWidget(picIcon, 0, 0, 3, 1, Qt::AlignTop);
    grid->addWidget(lblTitle, 0, 1);
    grid->addWidget(lblVersion, 1, 1);
    grid->addWidget(lblDescription, 2, 1);
    grid->addWidget(lblTechSupport, 3, 1);
    auto *buttons = new QVBoxLayout;
    buttons->addWidget(cmdOk);
    buttons->addWidget(cmdSysInfo);
    buttons->addStretch();
    grid->addLayout(buttons, 0, 2, 4, 1);

    connect(cmdOk, &QPushButton::clicked, this, &QDialog::close);
    connect(cmdSysInfo, &QPushButton::clicked, this, &frmAbout::StartSysInfo);
}

void frmAbout::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    ModUtility::CenterForm(this);
}

QString frmAbout::SystemInfoText(const QString &devDir)
{
    const QString kernel = QSysInfo::kernelType();
    const QDir dev(devDir);
    if (kernel.isEmpty() || !dev.exists())
        return QString();

    QString text;
    text += QStringLiteral("Operating system: ") + QSysInfo::prettyProductName() + u'\n';
    text += QStringLiteral("Kernel: ") + kernel + u' ' + QSysInfo::kernelVersion() + u'\n';
    text += QStringLiteral("Architecture: ") + QSysInfo::currentCpuArchitecture() + u'\n';
    text += QStringLiteral("Host name: ") + QSysInfo::machineHostName() + u'\n';
    text += QStringLiteral("Qt version: ") + QString::fromLatin1(qVersion()) + u'\n';
    const uid_t uid = ::getuid();
    text += QStringLiteral("User: ") + ownerName(uid);
    gid_t groups[64];
    const int count = ::getgroups(64, groups);
    if (count > 0) {
        QStringList names;
        for (int i = 0; i < count; ++i)
            names << groupName(groups[i]);
        text += QStringLiteral(" (groups: ") + names.join(QStringLiteral(", ")) + u')';
    }
    text += QStringLiteral("\n\nSerial devices in ") + dev.absolutePath() + QStringLiteral(":\n");

    const QStringList patterns = {QStringLiteral("ttyS*"), QStringLiteral("ttyUSB*"),
                                  QStringLiteral("ttyACM*"), QStringLiteral("ttyAMA*")};
    const QFileInfoList devices =
        dev.entryInfoList(patterns, QDir::System | QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
    if (devices.isEmpty())
        text += QStringLiteral("    none found\n");
    for (const QFileInfo &device : devices) {
        const QByteArray path = QFile::encodeName(device.absoluteFilePath());
        struct stat st {
        };
        if (::stat(path.constData(), &st) != 0)
            continue;
        const bool canOpen = ::access(path.constData(), R_OK | W_OK) == 0;
        text += QStringLiteral("    %1  %2 %3 %4  %5\n")
                    .arg(device.fileName(), -10)
                    .arg(modeText(st.st_mode), ownerName(st.st_uid), groupName(st.st_gid),
                         canOpen ? QStringLiteral("this user may open it")
                                 : QStringLiteral("this user may NOT open it (join group ") +
                                       groupName(st.st_gid) + u')');
    }
    return text;
}

void frmAbout::StartSysInfo()
{
    const QString text = SystemInfoText(DeviceFolder);
    if (text.isEmpty()) {
        m_prompt.ask(QStringLiteral("KESTRO"),
                     QStringLiteral("System Information Is Unavailable At This Time"),
                     PromptIcon::None, PromptButtons::Ok);
        return;
    }
    auto *window = new QDialog(this);
    window->setObjectName(QStringLiteral("frmSysInfo"));
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle(QStringLiteral("System Information"));
    auto *view = new QPlainTextEdit(text, window);
    view->setObjectName(QStringLiteral("txtSysInfo"));
    view->setReadOnly(true);
    view->setLineWrapMode(QPlainTextEdit::NoWrap);
    view->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto *close = new QPushButton(QStringLiteral("Close"), window);
    connect(close, &QPushButton::clicked, window, &QDialog::close);
    auto *layout = new QVBoxLayout(window);
    layout->addWidget(view);
    layout->addWidget(close, 0, Qt::AlignRight);
    window->resize(640, 360);
    window->show();
}
