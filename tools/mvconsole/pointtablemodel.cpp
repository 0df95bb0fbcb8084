/*
 * pointtablemodel.cpp: rows of live points.
 */
#include "pointtablemodel.h"

#include "pointappearance.h"

#include <MVShared/MorvaneTypes.h>
#include <MVShared/PointIds.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <QtGui/QBrush>
#include <QtGui/QColor>

#include <string>

namespace {

struct TagName {
    quint32 bit;
    const char* text;
};

const TagName kTagNames[] = {
    {Morvane::ControlInhibitTag, QT_TRANSLATE_NOOP("PointTableModel", "Control inhibit")},
    {Morvane::OutOfServiceTag, QT_TRANSLATE_NOOP("PointTableModel", "Out of service")},
    {Morvane::MaintenanceTag, QT_TRANSLATE_NOOP("PointTableModel", "Maintenance")},
};

const char* const kHeaders[] = {
    QT_TRANSLATE_NOOP("PointTableModel", "Point"),   QT_TRANSLATE_NOOP("PointTableModel", "Kind"),
    QT_TRANSLATE_NOOP("PointTableModel", "Value"),   QT_TRANSLATE_NOOP("PointTableModel", "Quality"),
    QT_TRANSLATE_NOOP("PointTableModel", "Tags"),    QT_TRANSLATE_NOOP("PointTableModel", "Last change"),
};
static_assert(sizeof kHeaders / sizeof kHeaders[0] == PointTableModel::ColumnCount, "one header per column");

QString kindOf(const DravoData& record)
{
    const std::string type = record.GetTypeName();
    if (type.find("STATUS") != std::string::npos)
        return QStringLiteral("Status");
    if (type.find("ANALOG") != std::string::npos)
        return QStringLiteral("Analog");
    return QStringLiteral("Text");
}

} // namespace

QString pointValueText(const DravoData& record)
{
    const QString kind = kindOf(record);
    if (kind == QLatin1String("Analog"))
        return QString::number(record.GetDoubleValue("lastvalue"), 'f', 3);
    if (kind == QLatin1String("Status"))
        return QString::number(record.GetSignedIntValue("lastvalue"));
    std::string text;
    record.GetValue("lastvalue", text);
    const int size = record.GetSignedIntValue("bytesize");
    if (size > 0 && static_cast<std::size_t>(size) < text.size())
        text.resize(static_cast<std::size_t>(size));
    return QString::fromUtf8(text.c_str());
}

PointTableModel::PointTableModel(ScadaRuntimeInterface* runtime, QObject* parent)
    : QAbstractTableModel(parent)
    , m_runtime(runtime)
{
}

int PointTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

int PointTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString PointTableModel::tagText(quint32 tags)
{
    QStringList texts;
    for (const TagName& t : kTagNames)
        if (tags & t.bit)
            texts << tr(t.text);
    return texts.join(QStringLiteral(", "));
}

QString PointTableModel::qualityText(int quality)
{
    QStringList texts;
    if (PointAppearance::isReplaced(quality))
        texts << tr("Replaced by hand");
    if (PointAppearance::isBadQuality(quality))
        texts << tr("Bad quality");
    return texts.isEmpty() ? tr("Good") : texts.join(QStringLiteral(", "));
}

QVariant PointTableModel::decoration(const Row& r, int role, int column) const
{
    switch (role) {
    case PointIdRole: return r.id;
    case Qt::BackgroundRole: {
        const QColor colour = PointAppearance::rowColour(r.quality, r.tags);
        return colour.isValid() ? QVariant(QBrush(colour)) : QVariant();
    }
    case Qt::DecorationRole:
        if (column == QualityColumn && r.quality != Morvane::GoodQuality)
            return PointAppearance::qualityIcon(r.quality);
        if (column == TagsColumn && r.tags != 0)
            return PointAppearance::tagIcon(r.tags);
        return QVariant();
    case Qt::ToolTipRole:
        return tr("Quality: %1").arg(qualityText(r.quality))
            + (r.tags ? QLatin1Char('\n') + tr("Tags: %1").arg(tagText(r.tags)) : QString());
    default: return QVariant();
    }
}

QVariant PointTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    const Row& r = m_rows[index.row()];
    if (role != Qt::DisplayRole)
        return decoration(r, role, index.column());
    switch (index.column()) {
    case NameColumn: return r.name;
    case KindColumn: return r.kind;
    case ValueColumn: return r.value;
    case QualityColumn: return qualityText(r.quality);
    case TagsColumn: return tagText(r.tags);
    case ChangedColumn: return r.changed.isValid() ? r.changed.toString(QStringLiteral("HH:mm:ss")) : QString();
    default: return QVariant();
    }
}

QVariant PointTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    return tr(kHeaders[section]);
}

bool PointTableModel::addPoint(int id)
{
    if (m_rowOfId.contains(id))
        return false;
    DravoData record;
    if (m_runtime->GetPoint(id, record) != 0)
        return false;
    Row r;
    r.id = id;
    std::string name;
    record.GetValue("fullname", name);
    r.name = QString::fromStdString(name);
    r.kind = kindOf(record);
    r.value = pointValueText(record);
    r.quality = record.GetSignedIntValue("quality");
    r.tags = record.GetUnSignedIntValue("tag");
    beginInsertRows(QModelIndex(), m_rows.size(), m_rows.size());
    m_rowOfId.insert(id, m_rows.size());
    m_rows.append(r);
    endInsertRows();
    return true;
}

const PointTableModel::Row* PointTableModel::row(int index) const
{
    return index >= 0 && index < m_rows.size() ? &m_rows[index] : nullptr;
}

int PointTableModel::rowOfPoint(int id) const
{
    return m_rowOfId.value(id, -1);
}

void PointTableModel::applyChanges(const mapEvent& changes)
{
    for (auto it = changes.cbegin(); it != changes.cend(); ++it) {
        const int index = m_rowOfId.value(it.key(), -1);
        if (index < 0)
            continue;
        applyChange(m_rows[index], it.value());
        emit dataChanged(this->index(index, ValueColumn), this->index(index, ChangedColumn));
    }
}

void PointTableModel::applyChange(Row& row, const DravoData& change)
{
    row.value = pointValueText(change);
    row.quality = change.GetSignedIntValue("quality");
    row.tags = change.GetUnSignedIntValue("tag");
    row.changed = QDateTime::currentDateTime();
    ++row.updates;
}
