#pragma once

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcComm)
// Every byte on the link; off unless QT_LOGGING_RULES="kestro.comm.trace.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcCommTrace)
