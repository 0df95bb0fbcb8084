/*
 * controldialog.h: sends a control for one point and shows what came back.
 *
 * An analog point takes a set-point; any point's remote unit can be polled.
 * A driver may take up to a minute to confirm, so the control goes out as an
 * asynchronous command of the runtime interface: the dialog stays
 * responsive, shows how far the command is (queued, sending, waiting for the
 * driver with the time left), and its Cancel button gives up on it. At the
 * end it shows the whole result: its kind, the driver's or the middleware's
 * code and the message text.
 */
#ifndef MVCONSOLE_CONTROLDIALOG_H
#define MVCONSOLE_CONTROLDIALOG_H

#include "plantindex.h"

#include <MVShared/RemoteCommandReply.h>
#include <MVShared/RemoteSystemResult.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QDialog>

class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;
class ScadaRuntimeInterface;

class ControlDialog : public QDialog
{
    Q_OBJECT

public:
    ControlDialog(ScadaRuntimeInterface* runtime, const PlantIndex& plant, int pointId, QWidget* parent = nullptr);

    /* The text of a result's kind, one table. */
    static QString kindText(int kind);
    const Morvane::RemoteSystemResult& lastResult() const { return m_result; }
    /* Whether a control is on its way (the Cancel button is enabled). */
    bool isBusy() const { return m_reply != nullptr; }

public slots:
    void sendSetpoint();
    void pollRemoteUnit();
    /* Gives up on the control on its way; its result says it was cancelled. */
    void cancelControl();

signals:
    void finished(const Morvane::RemoteSystemResult& result);

private:
    /* Follows the command the reply stands for (owned by the dialog). */
    void follow(const QString& what, RemoteCommandReply* reply);
    void showState(RemoteCommandReply::State state);
    void showWaitLeft();
    void showResult(const Morvane::RemoteSystemResult& result);
    void enableControls(bool idle);

    ScadaRuntimeInterface* m_runtime;
    const PlantPoint* m_point = nullptr;
    bool m_isAnalog = false;
    int m_driver = 0;
    int m_channel = 0;
    QDoubleSpinBox* m_value = nullptr;
    QPushButton* m_setpoint = nullptr;
    QPushButton* m_poll = nullptr;
    QPushButton* m_cancel = nullptr;
    QProgressBar* m_progress = nullptr;
    QLabel* m_state = nullptr;
    QLabel* m_kind = nullptr;
    QLabel* m_code = nullptr;
    QLabel* m_message = nullptr;
    Morvane::RemoteSystemResult m_result;
    QPointer<RemoteCommandReply> m_reply;
    QString m_what;
    /* Ticks the time left while the driver's answer is awaited. */
    QTimer m_waitTicker;
    QElapsedTimer m_waitClock;
    qint64 m_waitMs = 0;
};

#endif
