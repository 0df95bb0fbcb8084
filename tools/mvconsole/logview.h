/*
 * logview.h: the console's log, fed by the callback logger engine: every
 * message the process logs (the console's own actions included) arrives as a
 * LogBlock through a queued connection and is appended here.
 */
#ifndef MVCONSOLE_LOGVIEW_H
#define MVCONSOLE_LOGVIEW_H

#include <MVShared/LoggerEngines.h>

#include <QtWidgets/QPlainTextEdit>

#include <QtCore/QSharedPointer>

class LogView : public QPlainTextEdit
{
    Q_OBJECT

public:
    /* Adds its engine to the process's logger; removes it when destroyed. */
    explicit LogView(QWidget* parent = nullptr);
    ~LogView() override;

public slots:
    void appendBlock(const LogBlock& block);

private:
    QSharedPointer<CallBackLoggerEngine> m_engine;
};

#endif
