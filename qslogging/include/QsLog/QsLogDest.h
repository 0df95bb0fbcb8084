// QsLogging::Destination: where log messages end up (a file, the console, a
// widget, a test recorder...).
//
// The logger knows nothing about how or where a message is stored; it hands
// each message's text and level to its destinations, which format their own
// lines (time stamp, level name, ...) as they see fit.
#pragma once

#include <QsLog/QsLogExport.h>
#include <QsLog/QsLogLevel.h>

#include <QSharedPointer>
#include <QString>

namespace QsLogging {

class QSLOGGING_EXPORT Destination
{
public:
    virtual ~Destination();

    // Stores or shows one message. `message` is exactly what the caller
    // logged, without any prefix. The logger calls write() from one thread at
    // a time, so an implementation needs no locking of its own as long as it
    // is only used through the logger.
    virtual void write(const QString& message, Level level) = 0;

    // Whether the destination can take messages right now (for instance, a
    // file destination whose file could not be opened is not valid). The
    // logger skips invalid destinations.
    virtual bool isValid() = 0;
};

using DestinationPtr = QSharedPointer<Destination>;

} // namespace QsLogging
