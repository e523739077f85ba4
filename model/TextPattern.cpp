#include "TextPattern.h"

TextPattern::TextPattern(const QString &pattern)
    : m_expression(pattern, QRegularExpression::CaseInsensitiveOption)
    , m_isWord(!pattern.isEmpty() && QRegularExpression::escape(pattern) == pattern)
{
    if (m_isWord)
        m_word = QStringMatcher(pattern, Qt::CaseInsensitive);
    else
        m_expression.optimize();
}

QString TextPattern::pattern() const
{
    return m_expression.pattern();
}

bool TextPattern::isEmpty() const
{
    return m_expression.pattern().isEmpty();
}

bool TextPattern::isFoundIn(const QString &text) const
{
    if (m_isWord)
        return m_word.indexIn(text) >= 0;
    // The texts come from the tree, always valid UTF-16: checking each one again costs as much
    // as the search.
    return m_expression.isValid()
        && m_expression.match(text, 0, QRegularExpression::NormalMatch,
                              QRegularExpression::DontCheckSubjectStringMatchOption)
               .hasMatch();
}
