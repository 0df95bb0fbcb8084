/*
 * MorvaneTypes.h: the small enumerations every part of the product shares.
 *
 * Point kinds, object kinds, connection states, tag bits, RTU control and
 * driver result codes, and the kinds of logged values and report intervals.
 * Their display texts live in MorvaneTexts.h.
 */
#ifndef MVSHARED_MORVANETYPES_H
#define MVSHARED_MORVANETYPES_H

#include <MVPlant/Vocabulary.h>

#include <QtCore/qglobal.h>

namespace Morvane {

/* What an object named in a display or a data link is: the object types
 * of the name-index records (0, 1, 2, 3, 5, 6, 7), or -1. 2, 3 and 7 are the
 * objects named "@R::<device>", "@C::<channel>" and "@::<object>". */
enum ScadaObjectType : qint32 {
    InvalidObject = -1,
    StatusPointObject = MVPlant::kStatusObject,
    AnalogPointObject = MVPlant::kAnalogObject,
    RemoteUnitObject = MVPlant::kRemoteUnitObject,
    ChannelObject = MVPlant::kChannelObject,
    TextPointObject = MVPlant::kTextObject,
    CalculatedPointObject = MVPlant::kCalculatedObject,
    OtherObject = MVPlant::kOtherObject
};

/* A point's kind as its id range tells it. */
enum PointTypeCode : qint32 {
    NoPointType = -1,
    StatusPointType = 0,
    AnalogPointType = 1,
    TextPointType = 2
};

/* The middleware connection as the runtime interface last saw it. */
enum MWStatus : qint32 {
    MWConnected = 0,
    MWDisconnected = 1
};

/* Tags on points and remote units (a bit set). */
enum Tagging : quint32 {
    NoTag = 0,
    ControlInhibitTag = 1,  /* no control may be sent to the point or RTU */
    OutOfServiceTag = 4,    /* applying it also resets quality and limit state */
    MaintenanceTag = 8      /* likewise */
};

/* Point quality bits. */
enum PointQuality : qint32 {
    GoodQuality = 0,
    ManuallyReplacedQuality = 4
};

/* Commands to a remote terminal unit. */
enum RtuControlCode : qint32 {
    IntegrityPoll = 0,
    StatusPoll = 1,
    AnalogPoll = 2,
    DeviceRestart = 3,
    EventPoll = 4,
    TimeSynchronization = 5,
    CounterPoll = 6,
    ActivateRtu = 7,
    DeactivateRtu = 8
};

/* A driver's answer to a control ("failwhy"); 0 is success. */
enum DriverErrorResult : qint32 {
    DriverSuccess = 0,
    NotSupportedFunction = 10000,
    DeviceTravel = 10001,
    CommunicationError = 10002,
    NoResponse = 10003,
    NotAllowedControl = 10004,
    UnknownDriverError = 10005,
    UnknownDriverException = 10006,
    NotMatchedTarget = 10007,
    InvalidParameter = 10008,
    FrameError = 10009,
    UndefinedError = 10010,
    DriverOffline = 10011,
    ValueNotChanged = 10012
};

/* The kind of statistic value a log record holds. 2, 4 and 8 are unused. */
enum DataKindType : qint32 {
    MomentValue = 0,
    MaximumValue = 1,
    MinimumValue = 3,
    AverageValue = 5,
    DeltaValue = 6,
    LastValue = 7,
    OnCount = 9,
    OffCount = 10,
    OnDuration = 11,
    OffDuration = 12
};

} // namespace Morvane

#endif
