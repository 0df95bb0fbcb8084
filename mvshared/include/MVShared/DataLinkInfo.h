/*
 * DataLinkInfo.h: the link of a display element to one piece of SCADA data
 * (which kind of object, which object, which data and attribute), stored by
 * displays as a short JSON text, and the mapping of statistic data fields
 * to the data kinds of log reports.
 */
#ifndef MVSHARED_DATALINKINFO_H
#define MVSHARED_DATALINKINFO_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MorvaneTypes.h>

#include <QtCore/QString>

namespace Morvane {

class MVSHARED_EXPORT DataLinkInfo
{
public:
    /* The invalid descriptor: type -1, id 0, empty names. */
    DataLinkInfo() = default;
    DataLinkInfo(ScadaObjectType objectType, int id, const QString& dataName);

    /* True when there is no data name, whatever the other fields hold. */
    bool isEmpty() const;
    /* Type -1 and id 0; the names are kept. */
    void makeInvalid();
    bool operator==(const DataLinkInfo& other) const;

    /* The name by which the object is known: the data name, prefixed by
     * "@::", "@C::" or "@R::" for other objects, channels and devices. */
    QString dataCodeName() const;
    /* The data code name with ":attribute" appended, except a point's
     * default data ("Value", "LastValue"), which is left implicit. */
    QString absoluteName() const;

    /* {"ObjectType":..,"PID":..,"DataName":"..","Attribute":".."}; names
     * are not escaped. */
    QString toJsonStream();
    /* The descriptor of the text; the invalid one when it does not parse. */
    static DataLinkInfo fromJsonStream(const QString& text);

    ScadaObjectType objectType = InvalidObject;
    qint32 id = 0;
    QString dataName;
    QString attribute;
};

class MVSHARED_EXPORT DataCode
{
public:
    /* Statistic data fields of points. */
    enum DataField {
        MaximumValueField = 100001,
        MinimumValueField = 100002,
        AverageValueField = 100003,
        DeltaValueField = 100004,
        MomentValueField = 100007
    };

    /* The data kind of a field; -1 for fields without one. */
    static DataKindType convertToDataKindCode(DataField field);
};

} // namespace Morvane

#endif
