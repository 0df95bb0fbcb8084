/*
 * controldialog.h: sends a control for one point and shows what came back.
 *
 * An analog point takes a set-point; any point's remote unit can be polled.
 * The control runs on a thread of its own (a driver may take seconds to
 * confirm) and the dialog shows the whole result: its kind, the driver's or
 * the middleware's code and the message text.
 */
#ifndef MVCONSOLE_CONTROLDIALOG_H
#define MVCONSOLE_CONTROLDIALOG_H

#include "plantindex.h"

#include <MVShared/RemoteSystemResult.h>

#include <QtWidgets/QDialog>

#include <functional>

class QDoubleSpinBox;
class QLabel;
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

public slots:
    void sendSetpoint();
    void pollRemoteUnit();

signals:
    void finished(const Morvane::RemoteSystemResult& result);

private:
    void run(const QString& what, std::function<Morvane::RemoteSystemResult()> control);
    void showResult(const Morvane::RemoteSystemResult& result);

    ScadaRuntimeInterface* m_runtime;
    const PlantPoint* m_point = nullptr;
    bool m_isAnalog = false;
    int m_driver = 0;
    int m_channel = 0;
    QDoubleSpinBox* m_value = nullptr;
    QPushButton* m_setpoint = nullptr;
    QPushButton* m_poll = nullptr;
    QLabel* m_state = nullptr;
    QLabel* m_kind = nullptr;
    QLabel* m_code = nullptr;
    QLabel* m_message = nullptr;
    Morvane::RemoteSystemResult m_result;
};

#endif
