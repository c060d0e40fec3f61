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
};
