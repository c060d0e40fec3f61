// Fuzz target for the set-up file reader. Besides crashes and sanitizer
// reports it checks the reader's promises: a rejected input leaves the
// record untouched, an accepted one has a sane length, survives a write and
// a second read unchanged, and fits the table afterwards.
#include "machine/sdtfile.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace
{

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "sdt_fuzz: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    DataSet record;
    record.Version = QStringLiteral("untouched");
    record.Value = {1, 2, 3};
    const DataSet before = record;
    qsizetype recordSize = -1;

    const MachineError error = decodeSetupRecord(bytes, record, &recordSize);
    if (error != MachineError::None) {
        if (error != MachineError::FileTooShort && error != MachineError::FileDamaged)
            fail("unexpected error kind");
        if (!(record == before) || recordSize != -1)
            fail("a rejected record changed the output");
        return 0;
    }
    if (recordSize <= 0 || recordSize > qsizetype(size))
        fail("record length outside the input");

    // Bytes after the record do not matter.
    DataSet prefixOnly;
    if (decodeSetupRecord(bytes.first(recordSize), prefixOnly) != MachineError::None ||
        !(prefixOnly == record))
        fail("record does not decode from its own bytes");

    QByteArray encoded;
    if (encodeSetupRecord(record, encoded) != MachineError::None)
        fail("a decoded record cannot be encoded");
    DataSet again;
    qsizetype againSize = -1;
    if (decodeSetupRecord(encoded, again, &againSize) != MachineError::None || !(again == record) ||
        againSize != encoded.size())
        fail("round trip changed the record");

    record.fitToTable();
    if (record.Address.size() != ItemCount || record.Value.size() != ItemCount)
        fail("fitted record has the wrong size");
    return 0;
}
