#pragma once

#include <QAbstractTableModel>
#include <QList>
#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>

// Property names with the value the user wants written to every chosen camera.
// Values start empty; only the ones typed in count as changes.
class PropertyEditor : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit PropertyEditor(QObject *parent = nullptr);
    ~PropertyEditor() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    // Answers the display role only, so an editor opens empty instead of with the value.
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // Appends one row per name after the present ones; names already listed are not merged.
    void addProperties(const QStringList &names);
    // Every name with a non-empty value; a later row of the same name wins.
    QMap<QString, QString> changedProperties() const;

public slots:
    // Blanks every value and keeps the names.
    void clear();

private:
    QList<QString> m_headers;
    QList<QPair<QString, QString>> m_rows;
};
