/*
 * logview.cpp: log lines as the operator reads them.
 */
#include "logview.h"

#include <QsLog/QsLog.h>

namespace {

/* Lines kept before the oldest are dropped. */
constexpr int kMaximumLines = 5000;

} // namespace

LogView::LogView(QWidget* parent)
    : QPlainTextEdit(parent)
    , m_engine(new CallBackLoggerEngine)
{
    setObjectName(QStringLiteral("logView"));
    setReadOnly(true);
    setMaximumBlockCount(kMaximumLines);
    connect(m_engine.data(), &CallBackLoggerEngine::notifyBlock, this, &LogView::appendBlock, Qt::QueuedConnection);
    m_engine->initLoggerEngine();
    QsLogging::Logger::instance().addDestination(m_engine);
}

LogView::~LogView()
{
    QsLogging::Logger::instance().removeDestination(m_engine);
    m_engine->killLoggerEngine();
}

void LogView::appendBlock(const LogBlock& block)
{
    appendPlainText(QStringLiteral("%1  %2  %3")
                        .arg(block.time, BasicFileLoggerEngine::levelName(block.level).leftJustified(5), block.message));
}
