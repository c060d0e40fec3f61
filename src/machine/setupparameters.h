#pragma once

#include "registermap.h"

#include <QLatin1StringView>

#include <array>
#include <span>

// One set-up parameter: data item Index, edited in field Field of the set-up
// editor. Captions carry "&" before the access key and are shown as written.
struct SetupParameter {
    int Index;
    int Field;
    QLatin1StringView Register;
    QLatin1StringView Name;
    QLatin1StringView Caption;
    QLatin1StringView Column; // solenoid times: the editor's column head, else empty
    qint32 Minimum;
    qint32 Maximum; // for a spindle-dependent maximum, the 24-spindle one
    qint32 Default;
    QLatin1StringView Unit; // empty when no unit is shown
    bool SpindleDependent;  // the maximum follows the spindle count

    // The maximum that applies on a machine with this many spindles.
    qint32 maximumFor(int spindleCount) const
    {
        return SpindleDependent ? spindleLimits(spindleCount).QCPortShiftMaximum : Maximum;
    }
};

inline constexpr int SetupParameterCount = 16;

// The sixteen parameters in field order (field k is item 122 + k): the one
// table the editor, the report, the defaults and the command-line tool read.
std::span<const SetupParameter, SetupParameterCount> setupParameters();
// The parameter of a data item, nullptr when the item is not one.
const SetupParameter *setupParameterForIndex(int index);
