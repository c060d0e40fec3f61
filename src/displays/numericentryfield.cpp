#include "numericentryfield.h"

#include "app/modutility.h"
#include "comm/operatorprompt.h"
#include "machine/valuetext.h"
#include "updownspinner.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>

QPushButton *makeFocusParkingButton(QWidget *parent)
{
    auto *button = new QPushButton(QStringLiteral("-"), parent);
    button->setObjectName(QStringLiteral("cmdDefault"));
    const int side = button->fontMetrics().height() + 6;
    button->setFixedSize(side, side);
    return button;
}

NumericEntryField::NumericEntryField(QLineEdit *txt, UpDownSpinner *upd, EntryWindowState &window,
                                     OperatorPrompt &prompt, const QString &title)
    : QObject(txt), m_txt(txt), m_upd(upd), m_window(window), m_prompt(prompt), m_title(title)
{
    m_txt->installEventFilter(this);
    connect(m_upd, &UpDownSpinner::changed, this, &NumericEntryField::spinnerStep);
    // textEdited comes from the operator's keys only, never from setText.
    connect(m_txt, &QLineEdit::textEdited, this, [this] {
        if (!m_inField)
            enter(Selection::AsIs);
        m_changed = true;
    });
}

bool NumericEntryField::showValue(const QString &text)
{
    if (BeingEdited)
        return false;
    if (m_txt->text() != text) {
        m_txt->setText(text);
        // Esc in a field the operator looks at brings back what is shown.
        if (m_inField)
            ValueOnEntry = roundedTextValue(text);
    }
    return true;
}

QString NumericEntryField::rejectionMessage() const
{
    return QStringLiteral("Only a Number Between ") + QString::number(m_upd->minimum()) +
           QStringLiteral(" and ") + QString::number(m_upd->maximum()) +
           QStringLiteral(" can be Entered");
}

bool NumericEntryField::acceptable() const
{
    return wholeNumberIn(m_txt->text(), m_upd->minimum(), m_upd->maximum());
}

void NumericEntryField::clearEditMark()
{
    if (!holdsOperatorEntry())
        BeingEdited = false;
}

void NumericEntryField::endEntry()
{
    m_changed = false;
    BeingEdited = false;
    m_window.PendingEsc = false;
}

NumericEntryField::Leaving NumericEntryField::leavingFor(Qt::FocusReason reason, bool keyLeave)
{
    switch (reason) {
    case Qt::MouseFocusReason:
    case Qt::ShortcutFocusReason:
        return Leaving::ByOperator;
    case Qt::TabFocusReason:
    case Qt::BacktabFocusReason:
        // Hiding a window moves its focus on as if Tab had been pressed:
        // only a Tab key seen by this field is the operator's.
        return keyLeave ? Leaving::ByOperator : Leaving::ByProgram;
    case Qt::ActiveWindowFocusReason:
    case Qt::PopupFocusReason:
    case Qt::MenuBarFocusReason:
        // The focus comes back to the field when the menu or window closes.
        return Leaving::Away;
    default:
        return Leaving::ByProgram;
    }
}

bool NumericEntryField::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_txt)
        return false;
    switch (event->type()) {
    case QEvent::FocusIn: {
        const auto reason = static_cast<QFocusEvent *>(event)->reason();
        if (m_inField)
            return false; // back from a menu, another window or a refusal
        if (reason == Qt::MouseFocusReason || reason == Qt::TabFocusReason ||
            reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason)
            enter();
        return false;
    }
    case QEvent::FocusOut: {
        if (!m_inField || m_refusing || m_quietLeave)
            return false;
        const auto reason = static_cast<QFocusEvent *>(event)->reason();
        switch (leavingFor(reason, m_keyLeave)) {
        case Leaving::Away:
            return false;
        case Leaving::ByProgram:
            abandon();
            return false;
        case Leaving::ByOperator:
            break;
        }
        m_inField = false;
        if (!m_changed) {
            // Looked at, not changed: nothing to check or write.
            BeingEdited = false;
            return false;
        }
        // A refused value keeps the focus: the line edit must not see the
        // focus leave (it would drop the selection).
        return !leave();
    }
    case QEvent::MouseButtonRelease:
        // A click enters the field again, after the line edit placed the cursor.
        if (m_inRelease)
            return false;
        m_inRelease = true;
        QCoreApplication::sendEvent(m_txt, event);
        m_inRelease = false;
        if (m_txt->hasFocus())
            enter();
        return true;
    case QEvent::KeyPress: {
        if (m_inKey)
            return false;
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            m_window.PendingEsc = false;
            if (!m_inField)
                enter(Selection::AsIs);
            QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
            QCoreApplication::sendEvent(m_txt, &tab);
            return true;
        }
        if (key->key() == Qt::Key_Escape) {
            if (!m_inField)
                enter(Selection::AsIs);
            escape();
            return true;
        }
        m_window.PendingEsc = false;
        if ((key->key() == Qt::Key_Up || key->key() == Qt::Key_Down) &&
            key->modifiers() == Qt::NoModifier) {
            if (m_upd->isEnabled())
                m_upd->step(key->key() == Qt::Key_Up ? UpDownSpinner::Direction::Up
                                                     : UpDownSpinner::Direction::Down);
            return true;
        }
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            // The operator's Tab: the focus change it makes is a leave.
            m_keyLeave = true;
            m_inKey = true;
            QCoreApplication::sendEvent(m_txt, event);
            m_inKey = false;
            m_keyLeave = false;
            return true;
        }
        return false;
    }
    default:
        return false;
    }
}

void NumericEntryField::enter(Selection selection)
{
    ValueOnEntry = roundedTextValue(m_txt->text());
    BeingEdited = true;
    m_inField = true;
    m_changed = false;
    m_window.PendingEsc = false;
    if (selection == Selection::All)
        ModUtility::SelectAllText(m_txt);
}

void NumericEntryField::abandon()
{
    m_inField = false;
    if (m_changed)
        m_txt->setText(QString::number(ValueOnEntry));
    m_changed = false;
    BeingEdited = false;
}

bool NumericEntryField::leave()
{
    m_changed = false;
    if (acceptable()) {
        if (m_accept)
            m_accept(m_txt->text());
        BeingEdited = false;
        return true;
    }
    m_refusing = true;
    m_prompt.ask(m_title, rejectionMessage(), PromptIcon::Information, PromptButtons::Ok);
    m_refusing = false;
    // The focus change is taken back: the field keeps the operator, with
    // the value it had on entry, and stays marked.
    m_txt->setText(QString::number(ValueOnEntry));
    if (m_txt->isEnabled() && m_txt->isVisible()) {
        m_inField = true;
        m_txt->setFocus(Qt::OtherFocusReason);
    } else {
        BeingEdited = false;
    }
    ModUtility::SelectAllText(m_txt);
    return false;
}

void NumericEntryField::escape()
{
    m_txt->setText(QString::number(ValueOnEntry));
    m_changed = false;
    if (m_window.PendingEsc) {
        m_window.PendingEsc = false;
        BeingEdited = false;
        parkFocus();
    } else {
        m_window.PendingEsc = true;
        ModUtility::SelectAllText(m_txt);
    }
}

void NumericEntryField::spinnerStep()
{
    m_window.PendingEsc = false;
    m_changed = false;
    BeingEdited = false;
    parkFocus();
    if (m_step)
        m_step(m_txt->text());
}

void NumericEntryField::parkFocus()
{
    // The value is settled already: parking is not leaving with a check.
    m_quietLeave = true;
    if (m_window.cmdDefault)
        m_window.cmdDefault->setFocus(Qt::OtherFocusReason);
    m_quietLeave = false;
    if (!m_txt->hasFocus())
        m_inField = false;
}
