#include "messageboxprompt.h"

#include <QApplication>
#include <QInputDialog>
#include <QMessageBox>

namespace
{

QMessageBox::Icon boxIcon(PromptIcon icon)
{
    switch (icon) {
    case PromptIcon::Critical:
        return QMessageBox::Critical;
    case PromptIcon::Question:
        return QMessageBox::Question;
    case PromptIcon::Exclamation:
        return QMessageBox::Warning;
    case PromptIcon::Information:
        return QMessageBox::Information;
    case PromptIcon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons boxButtons(PromptButtons buttons)
{
    switch (buttons) {
    case PromptButtons::Ok:
        return QMessageBox::Ok;
    case PromptButtons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case PromptButtons::RetryCancel:
        return QMessageBox::Retry | QMessageBox::Cancel;
    case PromptButtons::YesNo:
        return QMessageBox::Yes | QMessageBox::No;
    case PromptButtons::YesNoCancel:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case PromptButtons::AbortRetryIgnore:
        return QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore;
    }
    return QMessageBox::Ok;
}

} // namespace

QString MessageBoxPrompt::displayText(const QString &text)
{
    return promptDisplayText(text);
}

PromptAnswer MessageBoxPrompt::ask(const QString &title, const QString &text, PromptIcon icon,
                                   PromptButtons buttons)
{
    QWidget *parent = QApplication::activeModalWidget();
    if (!parent)
        parent = QApplication::activeWindow();
    QMessageBox box(boxIcon(icon), title, displayText(text), boxButtons(buttons), parent);
    box.setTextFormat(Qt::PlainText);
    switch (box.exec()) {
    case QMessageBox::Ok:
        return PromptAnswer::Ok;
    case QMessageBox::Cancel:
        return PromptAnswer::Cancel;
    case QMessageBox::Retry:
        return PromptAnswer::Retry;
    case QMessageBox::Yes:
        return PromptAnswer::Yes;
    case QMessageBox::No:
        return PromptAnswer::No;
    case QMessageBox::Abort:
        return PromptAnswer::Abort;
    case QMessageBox::Ignore:
        return PromptAnswer::Ignore;
    default:
        return escapeAnswer(buttons);
    }
}

QString MessageBoxPrompt::input(const QString &title, const QString &prompt,
                                const QString &defaultText)
{
    QWidget *parent = QApplication::activeModalWidget();
    if (!parent)
        parent = QApplication::activeWindow();
    bool ok = false;
    const QString text = QInputDialog::getText(parent, title, displayText(prompt),
                                               QLineEdit::Normal, defaultText, &ok);
    return ok ? text : QString();
}
