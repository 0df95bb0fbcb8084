/*
 * controldialog.cpp: the control form and its worker thread.
 */
#include "controldialog.h"

#include <MVShared/ScadaRuntimeInterface.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QDoubleSpinBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace {

const char* const kKindTexts[] = {
    QT_TRANSLATE_NOOP("ControlDialog", "Answered by the driver"),
    QT_TRANSLATE_NOOP("ControlDialog", "Middleware failure"),
    QT_TRANSLATE_NOOP("ControlDialog", "Refused: control inhibit tag"),
    QT_TRANSLATE_NOOP("ControlDialog", "Sent without confirmation"),
};

/* Point names come from the plant and messages from the drivers: they are
 * shown as they stand, never read as markup (a QLabel's automatic mode would
 * take "<b>" or "<img>" in them for rich text). */
QLabel* plainLabel(const QString& objectName, const QString& text = QString())
{
    auto* label = new QLabel(text);
    label->setObjectName(objectName);
    label->setTextFormat(Qt::PlainText);
    return label;
}

QLabel* resultLabel(const QString& objectName)
{
    QLabel* label = plainLabel(objectName);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

ControlDialog::ControlDialog(ScadaRuntimeInterface* runtime, const PlantIndex& plant, int pointId, QWidget* parent)
    : QDialog(parent)
    , m_runtime(runtime)
{
    setObjectName(QStringLiteral("controlDialog"));
    m_point = plant.findPoint(pointId);
    m_isAnalog = plant.findAnalog(pointId) != nullptr;
    const bool routed = m_point && plant.route(m_point->rtuId, m_driver, m_channel);
    setWindowTitle(tr("Control %1").arg(m_point ? m_point->name : QString::number(pointId)));

    auto* form = new QFormLayout;
    form->addRow(tr("Point:"), plainLabel(QStringLiteral("pointName"),
                                          m_point ? m_point->name : tr("unknown point %1").arg(pointId)));
    form->addRow(tr("Driver:"), plainLabel(QStringLiteral("driverName"),
                                           routed ? QStringLiteral("Driver%1").arg(m_driver) : tr("none")));
    m_value = new QDoubleSpinBox;
    m_value->setObjectName(QStringLiteral("setpointValue"));
    m_value->setRange(-1e9, 1e9);
    m_value->setDecimals(3);
    m_value->setEnabled(m_isAnalog);
    form->addRow(tr("Set-point:"), m_value);

    m_setpoint = new QPushButton(tr("Send set-point"));
    m_setpoint->setObjectName(QStringLiteral("sendSetpoint"));
    m_setpoint->setEnabled(m_isAnalog && routed);
    m_poll = new QPushButton(tr("Poll remote unit"));
    m_poll->setObjectName(QStringLiteral("pollRemoteUnit"));
    m_poll->setEnabled(routed);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_setpoint);
    buttons->addWidget(m_poll);

    m_state = resultLabel(QStringLiteral("controlState"));
    m_kind = resultLabel(QStringLiteral("resultKind"));
    m_code = resultLabel(QStringLiteral("resultCode"));
    m_message = resultLabel(QStringLiteral("resultMessage"));
    auto* result = new QFormLayout;
    result->addRow(tr("State:"), m_state);
    result->addRow(tr("Result:"), m_kind);
    result->addRow(tr("Code:"), m_code);
    result->addRow(tr("Message:"), m_message);

    auto* close = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_setpoint, &QPushButton::clicked, this, &ControlDialog::sendSetpoint);
    connect(m_poll, &QPushButton::clicked, this, &ControlDialog::pollRemoteUnit);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    layout->addLayout(result);
    layout->addWidget(close);
}

QString ControlDialog::kindText(int kind)
{
    if (kind < 0 || kind >= static_cast<int>(sizeof kKindTexts / sizeof kKindTexts[0]))
        return tr("Unknown result kind %1").arg(kind);
    return tr(kKindTexts[kind]);
}

void ControlDialog::sendSetpoint()
{
    const int id = m_point->id;
    const int driver = m_driver;
    const int channel = m_channel;
    const double value = m_value->value();
    ScadaRuntimeInterface* runtime = m_runtime;
    run(tr("Sending set-point %1").arg(value),
        [=] { return runtime->controlAo(id, driver, channel, value, false); });
}

void ControlDialog::pollRemoteUnit()
{
    const int rtu = m_point->rtuId;
    const int driver = m_driver;
    const int channel = m_channel;
    ScadaRuntimeInterface* runtime = m_runtime;
    run(tr("Polling remote unit %1").arg(rtu), [=] { return runtime->integrityPoll(rtu, driver, channel); });
}

/* The control runs on its own thread; the result comes back to the dialog
 * through a queued call, or is dropped when the dialog is gone. */
void ControlDialog::run(const QString& what, std::function<Morvane::RemoteSystemResult()> control)
{
    m_setpoint->setEnabled(false);
    m_poll->setEnabled(false);
    m_state->setText(what + QStringLiteral("..."));
    QPointer<ControlDialog> self(this);
    QThread* worker = QThread::create([self, control] {
        const Morvane::RemoteSystemResult result = control();
        QMetaObject::invokeMethod(qApp, [self, result] {
            if (self)
                self->showResult(result);
        }, Qt::QueuedConnection);
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

void ControlDialog::showResult(const Morvane::RemoteSystemResult& result)
{
    m_result = result;
    m_state->setText(tr("Done"));
    m_kind->setText(kindText(result.kind));
    m_code->setText(QString::number(result.code));
    m_message->setText(result.message);
    m_setpoint->setEnabled(m_isAnalog && m_driver > 0);
    m_poll->setEnabled(m_driver > 0);
    emit finished(result);
}
