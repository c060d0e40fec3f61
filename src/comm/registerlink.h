#pragma once

#include <QString>

// Register access as the rest of the system sees it: values as decimal text,
// addresses as register address strings, and the latched link error.
class RegisterLink
{
public:
    virtual ~RegisterLink() = default;
    virtual QString RSRead(const QString &add) = 0;
    virtual void RSWrite(const QString &add, const QString &dataValue) = 0;
    virtual bool commErrorSet() const = 0;
    // The last RSRead or RSWrite did not move its value: a read that gave
    // "0" for want of an answer, a write the board did not echo back.
    virtual bool lastTransactionFailed() const { return commErrorSet(); }
    // After a failed write: the value the register was read back as, empty
    // when it could not be read (the value is unknown).
    virtual QString lastWriteReadBack() const { return {}; }
};
