#pragma once

#include "comm/rscomm.h"
#include "fakeboard.h"
#include "fakeclock.h"
#include "fakeserialport.h"
#include "scriptedprompt.h"

#include <QTemporaryDir>

// One link under test: fake time, a fake port with a fake board behind it,
// scripted operator answers and a program folder of its own.
struct FakeLink {
    QTemporaryDir dir;
    FakeClock clock;
    FakeSerialPort port{clock};
    FakeBoard board;
    ScriptedPrompt prompt;
    RSComm comm{clock, prompt, dir.path()};

    FakeLink() { board.attach(port); }
    // A file under the program folder, folders made as needed.
    void write(const QString &name, const QByteArray &content)
    {
        QDir().mkpath(QFileInfo(dir.filePath(name)).path());
        QFile f(dir.filePath(name));
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            f.write(content);
    }
    QByteArray read(const QString &name) const
    {
        QFile f(dir.filePath(name));
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
    }
    QString lastText() const
    {
        return prompt.asked.isEmpty() ? QString() : prompt.asked.last().text;
    }
    // Online, with the opening probe left out of what was sent.
    void open()
    {
        comm.OpenRSComm(port);
        port.sent.clear();
    }
};
