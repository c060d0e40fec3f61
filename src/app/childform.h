#pragma once

#include <QWidget>

class ModUtility;

// A child window of the main window (Main Display, Set-up Parameters, Shift
// Data, I/O States). The main window loads one at a time, activates it when
// it is in front and unloads it when another is chosen; the window runs its
// own refresh cycle while FormActive.
class ChildForm : public QWidget
{
    Q_OBJECT
public:
    explicit ChildForm(ModUtility &util, QWidget *parent = nullptr);

    // How the main window shows the child: filling the area (its caption
    // then joins the main window's), or at its own size with a title bar.
    enum class Placement { Maximised, OwnSize };
    virtual Placement placement() const { return Placement::Maximised; }

    bool FormActive = false;
    bool OnlineReady = false;
    bool OfflineReady = false;

    // Starts the refresh cycle; a window already active is left alone.
    virtual void Form_Activate();
    // Ends the cycle; runs before the window is discarded.
    virtual void Form_Unload();

    // The data in memory was replaced by New or Open.
    virtual void dataReplaced() {}

protected:
    virtual void applyOnlineLayout() {}
    virtual void applyOfflineLayout() {}
    virtual void offlinePass() {}

    ModUtility &m_util;
};
