// toolprocess.h: runs one of the project's tools as its own process, the way
// operators and scripts run it, and collects what it printed.
#ifndef MVTEST_TOOLPROCESS_H
#define MVTEST_TOOLPROCESS_H

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace mvtest {

struct ToolRun {
    bool finished = false;   // ended on its own within the time limit
    int exitCode = -1;       // -1 when it crashed or was killed
    QString out;
    QString err;
};

// Runs program with the arguments and environment, writes input to its
// standard input and closes it, and waits at most timeoutMs (then kills it).
ToolRun runTool(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
                const QByteArray& input = QByteArray(), int timeoutMs = 120000);

} // namespace mvtest

#endif
