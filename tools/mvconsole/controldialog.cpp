/*
 * controldialog.cpp: the control form, following its asynchronous command.
 */
#include "controldialog.h"

#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QtMath>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QDoubleSpinBox>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <climits>

namespace {

const char* const kKindTexts[] = {
    QT_TRANSLATE_NOOP("ControlDialog", "Answered by the driver"),
    QT_TRANSLATE_NOOP("ControlDialog", "Middleware failure"),
    QT_TRANSLATE_NOOP("ControlDialog", "Refused: control inhibit tag"),
    QT_TRANSLATE_NOOP("ControlDialog", "Sent without confirmation"),
    QT_TRANSLATE_NOOP("ControlDialog", "Cancelled"),
};

/* How often the time left of a wait is shown anew. */
constexpr int kWaitTickMs = 200;

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
    m_cancel = new QPushButton(tr("Cancel control"));
    m_cancel->setObjectName(QStringLiteral("cancelControl"));
    m_cancel->setEnabled(false);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_setpoint);
    buttons->addWidget(m_poll);
    buttons->addWidget(m_cancel);

    m_progress = new QProgressBar;
    m_progress->setObjectName(QStringLiteral("controlProgress"));
    m_progress->setVisible(false);
    m_waitTicker.setInterval(kWaitTickMs);
    connect(&m_waitTicker, &QTimer::timeout, this, &ControlDialog::showWaitLeft);

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
    connect(m_cancel, &QPushButton::clicked, this, &ControlDialog::cancelControl);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    layout->addWidget(m_progress);
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
    if (isBusy())
        return;
    const double value = m_value->value();
    follow(tr("Sending set-point %1").arg(value),
           m_runtime->controlAoAsync(m_point->id, m_driver, m_channel, value, false));
}

void ControlDialog::pollRemoteUnit()
{
    if (isBusy())
        return;
    const int rtu = m_point->rtuId;
    follow(tr("Polling remote unit %1").arg(rtu), m_runtime->integrityPollAsync(rtu, m_driver, m_channel));
}

void ControlDialog::cancelControl()
{
    if (m_reply)
        m_reply->cancel();
}

/* The reply is a child of the dialog: closing the dialog with a control on
 * its way cancels it. */
void ControlDialog::follow(const QString& what, RemoteCommandReply* reply)
{
    m_what = what;
    m_reply = reply;
    reply->setParent(this);
    enableControls(false);
    m_progress->setRange(0, 0);
    m_progress->setFormat(QString());
    m_progress->setVisible(true);
    showState(reply->state());
    connect(reply, &RemoteCommandReply::stateChanged, this, &ControlDialog::showState);
    connect(reply, &RemoteCommandReply::finished, this, [this, reply] {
        m_reply = nullptr;
        showResult(reply->result());
        reply->deleteLater();
    });
}

void ControlDialog::showState(RemoteCommandReply::State state)
{
    switch (state) {
    case RemoteCommandReply::Queued:
    case RemoteCommandReply::Sending:
        m_state->setText(m_what + QStringLiteral("..."));
        break;
    case RemoteCommandReply::AwaitingReply:
        if (!m_reply)
            break;
        m_state->setText(tr("%1: waiting for Driver%2 to answer...").arg(m_what).arg(m_driver));
        /* The middleware scales its waits (simulations run them faster). */
        m_waitMs = qMax<qint64>(1, qCeil(m_reply->replyWait() * 1000.0 * DravoPlus::WaitScale()));
        m_progress->setRange(0, static_cast<int>(qMin<qint64>(m_waitMs, INT_MAX)));
        m_waitClock.start();
        m_waitTicker.start();
        showWaitLeft();
        break;
    case RemoteCommandReply::Finished:
        break;
    }
}

void ControlDialog::showWaitLeft()
{
    const qint64 elapsed = qMin(m_waitClock.elapsed(), m_waitMs);
    m_progress->setValue(static_cast<int>(elapsed));
    m_progress->setFormat(tr("%1 s left").arg((m_waitMs - elapsed + 999) / 1000));
}

void ControlDialog::showResult(const Morvane::RemoteSystemResult& result)
{
    m_result = result;
    m_waitTicker.stop();
    m_progress->setVisible(false);
    m_state->setText(result.kind == Morvane::CommandCancelled ? tr("Cancelled") : tr("Done"));
    m_kind->setText(kindText(result.kind));
    m_code->setText(QString::number(result.code));
    m_message->setText(result.message);
    enableControls(true);
    emit finished(result);
}

void ControlDialog::enableControls(bool idle)
{
    m_setpoint->setEnabled(idle && m_isAnalog && m_driver > 0);
    m_poll->setEnabled(idle && m_driver > 0);
    m_cancel->setEnabled(!idle);
}
