#pragma once

#include <QObject>
#include <QString>

#include <functional>

class OperatorPrompt;
class QAbstractButton;
class QLineEdit;
class QPushButton;
class QWidget;
class UpDownSpinner;

// What the entry fields of one window share: the pending-Esc flag and the
// focus-parking button "-" that a second Esc or a spinner step moves to.
struct EntryWindowState {
    bool PendingEsc = false;
    QAbstractButton *cmdDefault = nullptr;
};

// A window's focus-parking button: small, captioned "-", doing nothing.
QPushButton *makeFocusParkingButton(QWidget *parent);

// A numeric entry field: a text box with its spinner. Entering remembers the
// value and marks the field as being edited, so the refresh cycle leaves it
// alone; Enter moves on like Tab; Esc restores, a second Esc parks the
// focus; leaving checks the number against the spinner's limits and either
// runs the accept action or refuses with a message and keeps the focus; a
// spinner step runs the step action at once.
//
// Only the operator enters and leaves a field: a click, the Tab key, a
// mnemonic, or typing into it. Focus that the program moves (a page change,
// a window switch or close, a hidden window, the cycle's own focus calls) is
// neither: it never writes and never shows the range message, and an edit
// the operator had not finished is dropped. Leaving checks and writes only
// when the operator changed the text, or pressed Enter.
class NumericEntryField : public QObject
{
    Q_OBJECT
public:
    using Action = std::function<void(const QString &text)>;

    NumericEntryField(QLineEdit *txt, UpDownSpinner *upd, EntryWindowState &window,
                      OperatorPrompt &prompt, const QString &title);

    QLineEdit *txt() const { return m_txt; }
    UpDownSpinner *upd() const { return m_upd; }
    const QString &title() const { return m_title; }

    void setAcceptAction(Action action) { m_accept = std::move(action); }
    void setStepAction(Action action) { m_step = std::move(action); }

    bool BeingEdited = false;
    qint32 ValueOnEntry = 0;

    // Shows a value from the cycle unless the operator is in the field;
    // false when the field was left alone.
    bool showValue(const QString &text);
    // "Only a Number Between <min> and <max> can be Entered".
    QString rejectionMessage() const;
    // True when the text is a whole number within the spinner's limits.
    bool acceptable() const;
    // The operator changed the text and has not left the field yet.
    bool holdsOperatorEntry() const { return m_inField && m_changed; }
    // A layout's reset of the mark: an entry the operator is still typing
    // keeps it, so what was typed is what is written when the field is left.
    void clearEditMark();
    // The data behind the field was replaced (New, Open): the entry in
    // progress ends unwritten and the next pass shows the new value.
    void endEntry();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    enum class Selection { All, AsIs };
    enum class Leaving { ByOperator, ByProgram, Away };

    static Leaving leavingFor(Qt::FocusReason reason, bool keyLeave);
    void enter(Selection selection = Selection::All);
    // The program took the focus away: the edit is dropped, nothing written.
    void abandon();
    // False when the value was refused and the field took the focus back.
    bool leave();
    void escape();
    void spinnerStep();
    void parkFocus();

    QLineEdit *m_txt;
    UpDownSpinner *m_upd;
    EntryWindowState &m_window;
    OperatorPrompt &m_prompt;
    QString m_title;
    Action m_accept;
    Action m_step;
    bool m_inField = false;    // the operator entered the field and has not left it
    bool m_changed = false;    // the operator changed the text since entering
    bool m_keyLeave = false;   // a Tab key of the operator is moving the focus
    bool m_quietLeave = false; // the focus leaves without a check (park)
    bool m_refusing = false;   // the refusal message is up
    bool m_inRelease = false;
    bool m_inKey = false;
};
