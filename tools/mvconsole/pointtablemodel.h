/*
 * pointtablemodel.h: the live point table of the operator console.
 *
 * One row per point the operator dropped into the table: name, kind, value,
 * quality, tags and the time of the last change. Rows are filled by reading
 * the point once and then kept current from the change packets the console
 * receives (the CHANGED_* records carry value, quality and tags). Bad
 * quality, a value replaced by hand and the tags show at a glance: the row's
 * colour and badges in the quality and tags columns (PointAppearance).
 */
#ifndef MVCONSOLE_POINTTABLEMODEL_H
#define MVCONSOLE_POINTTABLEMODEL_H

#include <MVShared/MorvaneChangeEvent.h>

#include <QtCore/QAbstractTableModel>
#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QVector>

class ScadaRuntimeInterface;

class PointTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { NameColumn, KindColumn, ValueColumn, QualityColumn, TagsColumn, ChangedColumn, ColumnCount };
    /* Every cell gives its row's point id under this role. */
    enum { PointIdRole = Qt::UserRole + 1 };

    struct Row {
        int id = 0;
        QString name;
        QString kind;          /* "Status", "Analog" or "Text" */
        QString value;
        int quality = 0;
        quint32 tags = 0;
        QDateTime changed;     /* invalid until a change arrived */
        int updates = 0;       /* changes received since the row was added */
    };

    explicit PointTableModel(ScadaRuntimeInterface* runtime, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    /* Reads the point and adds its row; false when the point cannot be read
     * or is in the table already. */
    bool addPoint(int id);
    const Row* row(int index) const;
    int rowOfPoint(int id) const;

    /* The tag texts shown in the tags column, one table. */
    static QString tagText(quint32 tags);
    /* The quality as the quality column says it: "Good", "Replaced by
     * hand", "Bad quality" or both of the last two. */
    static QString qualityText(int quality);

public slots:
    void applyChanges(const mapEvent& changes);

private:
    void applyChange(Row& row, const DravoData& change);
    /* The colours, badges and tool tip of a row (roles other than display). */
    QVariant decoration(const Row& row, int role, int column) const;
    ScadaRuntimeInterface* m_runtime;
    QVector<Row> m_rows;
    QHash<int, int> m_rowOfId;
};

/* The value of a point record or of its change record, as an operator reads it. */
QString pointValueText(const DravoData& record);

#endif
