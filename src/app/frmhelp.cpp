#include "frmhelp.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QTextBrowser>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

frmHelp::frmHelp(const QString &helpFile, QWidget *parent)
    : QWidget(parent, Qt::Window), m_helpFile(helpFile)
{
    setObjectName(QStringLiteral("frmHelp"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("KESTRO Help"));

    auto tool = [this](const QString &text, const char *name, QKeySequence key) {
        auto *button = new QToolButton(this);
        button->setText(text);
        button->setObjectName(QString::fromLatin1(name));
        button->setShortcut(key);
        button->setAutoRaise(true);
        return button;
    };
    cmdContents =
        tool(QStringLiteral("&Contents"), "cmdContents", QKeySequence(Qt::ALT | Qt::Key_Home));
    cmdBack = tool(QStringLiteral("&Back"), "cmdBack", QKeySequence(QKeySequence::Back));
    cmdForward =
        tool(QStringLiteral("&Forward"), "cmdForward", QKeySequence(QKeySequence::Forward));
    txtSearch = new QLineEdit(this);
    txtSearch->setObjectName(QStringLiteral("txtSearch"));
    txtSearch->setPlaceholderText(QStringLiteral("Search this page"));
    txtSearch->setClearButtonEnabled(true);
    cmdFind = tool(QStringLiteral("F&ind"), "cmdFind", QKeySequence(QKeySequence::FindNext));

    txtHelp = new QTextBrowser(this);
    txtHelp->setObjectName(QStringLiteral("txtHelp"));
    txtHelp->setOpenExternalLinks(true);
    txtHelp->setSearchPaths({QFileInfo(helpFile).absolutePath()});

    auto *bar = new QHBoxLayout;
    bar->addWidget(cmdContents);
    bar->addWidget(cmdBack);
    bar->addWidget(cmdForward);
    bar->addStretch();
    bar->addWidget(txtSearch);
    bar->addWidget(cmdFind);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(txtHelp);

    cmdBack->setEnabled(false);
    cmdForward->setEnabled(false);
    connect(cmdContents, &QToolButton::clicked, this, &frmHelp::showContents);
    connect(cmdBack, &QToolButton::clicked, txtHelp, &QTextBrowser::backward);
    connect(cmdForward, &QToolButton::clicked, txtHelp, &QTextBrowser::forward);
    connect(txtHelp, &QTextBrowser::backwardAvailable, cmdBack, &QToolButton::setEnabled);
    connect(txtHelp, &QTextBrowser::forwardAvailable, cmdForward, &QToolButton::setEnabled);
    connect(cmdFind, &QToolButton::clicked, this, &frmHelp::findNext);
    connect(txtSearch, &QLineEdit::returnPressed, this, &frmHelp::findNext);
    connect(txtHelp, &QTextBrowser::sourceChanged, this, [this] {
        const QString title = txtHelp->documentTitle();
        setWindowTitle(title.isEmpty() ? QStringLiteral("KESTRO Help") : title);
    });

    resize(760, 600);
    showContents();
}

void frmHelp::showContents()
{
    showTopic(QString());
}

void frmHelp::showTopic(const QString &anchor)
{
    QUrl page = QUrl::fromLocalFile(m_helpFile);
    page.setFragment(anchor.isEmpty() ? QStringLiteral("contents") : anchor);
    txtHelp->setSource(page);
}

bool frmHelp::findNext()
{
    const QString text = txtSearch->text();
    if (text.isEmpty())
        return false;
    if (txtHelp->find(text))
        return true;
    // Wrap round to the top once.
    QTextCursor cursor = txtHelp->textCursor();
    cursor.movePosition(QTextCursor::Start);
    txtHelp->setTextCursor(cursor);
    return txtHelp->find(text);
}
