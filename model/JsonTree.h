#pragma once

#include <QJsonDocument>
#include <QJsonValue>
#include <QSharedPointer>
#include <QString>

class Item;

// Conversion of Web-API JSON documents into rows of the camera tree.
namespace JsonTree {

// The text shown in the value column for a JSON value.
QString valueText(const QJsonValue &value);

// Unfolds document into rows below parent. At depth 0 the old rows are replaced
// (and a category node keeps the document); a null document leaves everything as it was.
void buildTree(const QJsonDocument &document, const QSharedPointer<Item> &parent, int depth = 0);

// How many rows buildTree() puts directly below the parent for this document.
int topLevelRowCount(const QJsonDocument &document);

// Whether buildTree() would give parent the rows it has now, labels and nesting alike, so that
// only value texts can differ. A camera answers the same shape on every refresh; its rows are
// then kept and only their values change, which costs the views a repaint instead of a relayout.
bool hasShapeOf(const QJsonDocument &document, const Item &parent);

// Writes the value texts of document into rows of the same shape (hasShapeOf) and returns the
// rows whose value changed.
QList<Item *> updateValues(const QJsonDocument &document, Item &parent);

} // namespace JsonTree
