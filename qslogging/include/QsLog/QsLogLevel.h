// QsLogging::Level: the severity of a log message and the threshold of the
// logger.
//
// It has a header of its own because destinations, configuration code and
// the logger all need it without needing each other.
#pragma once

namespace QsLogging {

// Severities, from the most verbose to the most severe. The numeric values are
// part of the interface: configuration files and command lines carry them as
// plain integers, and callers turn those back into a Level with a
// static_cast. The underlying type is fixed to int so that any int, including
// values past OffLevel (such as 9, which configurations use to mean "silent"),
// converts to a Level with well-defined behaviour.
enum Level : int {
    TraceLevel = 0,
    DebugLevel,
    InfoLevel,
    WarnLevel,
    ErrorLevel,
    FatalLevel,
    OffLevel  // As a threshold: log nothing. Never the level of a message.
};

} // namespace QsLogging
