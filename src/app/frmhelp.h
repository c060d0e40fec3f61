#pragma once

#include <QWidget>

class QLineEdit;
class QTextBrowser;
class QToolButton;

// The help window: the help document with its contents page, back and
// forward, and a search of the page shown. Not modal; one at a time.
class frmHelp : public QWidget
{
    Q_OBJECT
public:
    explicit frmHelp(const QString &helpFile, QWidget *parent = nullptr);

    void showContents();
    // The page at the anchor of a window's topic ("setup"); the contents
    // when the anchor is empty.
    void showTopic(const QString &anchor);
    // Finds the next occurrence of the search text, from the top again at
    // the end; false when the page does not hold it.
    bool findNext();

    QTextBrowser *txtHelp;
    QToolButton *cmdContents;
    QToolButton *cmdBack;
    QToolButton *cmdForward;
    QLineEdit *txtSearch;
    QToolButton *cmdFind;

private:
    QString m_helpFile;
};
