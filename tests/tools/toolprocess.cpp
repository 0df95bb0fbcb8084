// toolprocess.cpp: one tool run, bounded in time.
#include "toolprocess.h"

#include <QProcess>

mvtest::ToolRun mvtest::runTool(const QString& program, const QStringList& arguments,
                                const QProcessEnvironment& environment, const QByteArray& input, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    ToolRun run;
    if (process.waitForStarted(30000)) {
        process.write(input);
        process.closeWriteChannel();
        run.finished = process.waitForFinished(timeoutMs);
    }
    if (!run.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit && run.finished ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}
