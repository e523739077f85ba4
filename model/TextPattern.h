#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringMatcher>

// What the camera view's filter looks for: a case-insensitive regular expression, found anywhere
// in a text. A pattern of letters, digits and underscores alone, as most typed words and serial
// numbers are, means the same as a plain search, which is several times faster; the filter asks
// it about every row of the tree.
class TextPattern
{
public:
    TextPattern() = default;
    explicit TextPattern(const QString &pattern);

    QString pattern() const;
    bool isEmpty() const;
    // An invalid expression is found nowhere.
    bool isFoundIn(const QString &text) const;

private:
    QRegularExpression m_expression;
    QStringMatcher m_word;
    bool m_isWord = false;
};
