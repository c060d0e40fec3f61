// kestro-make-sample-setup FILE: writes the factory set-up as a set-up file,
// the one a new user finds in samples/ and can open without a board.

#include "machine/machinedata.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestro-make-sample-setup FILE.sdt\n");
        return 2;
    }
    MachineData data;
    const MachineError error = data.saveFile(QString::fromLocal8Bit(argv[1]));
    if (error != MachineError::None) {
        std::fprintf(stderr, "kestro-make-sample-setup: %s: %s\n", argv[1],
                     qPrintable(machineErrorText(error)));
        return 1;
    }
    return 0;
}
