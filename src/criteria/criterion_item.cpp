#include <utility>

#include "statement/escaping.h"
#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/keywords.h"
#include "vorn/platform/string_helpers.h"
#include "vorn/selector.h"

using vorn::detail::appendEscaped;

CVORNCriterionItem::CVORNCriterionItem(std::string text) : m_text(std::move(text)) {}

CVORNCriterionItem& CVORNCriterionItem::operator=(const CVORNCriterionItem& other) {
    if (this != &other) {
        m_text = other.m_text;
        m_auxText = other.m_auxText;
    }
    return *this;
}

std::string CVORNCriterionItem::toString() const {
    return m_text;
}

CVORNCriterion CVORNCriterionItem::current() const {
    return CVORNCriterion(m_text);
}

CVORNCriterion CVORNCriterionItem::wrap() {
    m_text.reserve(m_text.size() + 2);
    m_text.insert(m_text.begin(), '(');
    m_text.push_back(')');
    return current();
}

CVORNCriterion CVORNCriterionItem::compareWithText(std::string_view prefix,
                                                   const std::string& value) {
    // Room for the fragment, the value with a few doubled quotes and the
    // parentheses, so that the text grows once.
    m_text.reserve(m_text.size() + prefix.size() + value.size() + 8);
    m_text.append(prefix);
    appendEscaped(m_text, value);
    m_text.push_back('\'');
    return wrap();
}

CVORNCriterionItem CVORNCriterionItem::operator[](const std::string& name) {
    m_text.clear();
    appendEscaped(m_text, name);
    return *this;
}

CVORNCriterion CVORNCriterionItem::operator()(const std::string& value) {
    // Opens the literal only; the caller writes the rest.
    m_text.push_back('\'');
    appendEscaped(m_text, value);
    return current();
}

CVORNCriterion CVORNCriterionItem::in(const std::string& list) {
    m_text.append(vorn::sql::kIn).append(1, '(');
    appendEscaped(m_text, list);
    m_text.push_back(')');
    return current();
}

CVORNCriterion CVORNCriterionItem::in(const CVORNSelector& sub) {
    const CVORNBase& statement = sub;
    m_text.append(vorn::sql::kIn).append(1, '(');
    appendEscaped(m_text, statement.toString());
    m_text.push_back(')');
    return current();
}

CVORNCriterion CVORNCriterionItem::notIn(const std::string& list) {
    m_text.append(vorn::sql::kNotIn).append(1, '(').append(list).append(1, ')');
    return current();
}

CVORNCriterion CVORNCriterionItem::like(const std::string& pattern) {
    m_text.append(vorn::sql::kLike)
        .append(1, '\'')
        .append(vorn::platform::escapeLikePattern(pattern))
        .append(1, '\'');
    return current();
}

// The operand is taken by value as the interface has it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
CVORNCriterion CVORNCriterionItem::operator==(CVORNCriterionItem other) {
    m_text.push_back('=');
    appendEscaped(m_text, other.m_text);
    return wrap();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
CVORNCriterion CVORNCriterionItem::operator!=(CVORNCriterionItem other) {
    m_text.append("!=").append(other.m_text);
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator==(const std::string& value) {
    m_text.append("='");
    const std::string::size_type quote = value.find('\'');
    if (quote == std::string::npos) {
        m_text.append(value);  // nothing to double
    } else {
        // Only the first quote is doubled; any later quote passes unchanged.
        m_text.append(value, 0, quote).append(1, '\'').append(value, quote, std::string::npos);
    }
    m_text.push_back('\'');
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator!=(const std::string& value) {
    return compareWithText("!='", value);
}

CVORNCriterion CVORNCriterionItem::operator<=(const std::string& value) {
    return compareWithText(" <= '", value);
}

CVORNCriterion CVORNCriterionItem::operator>=(const std::string& value) {
    return compareWithText(" >= '", value);
}

CVORNCriterion CVORNCriterionItem::operator<=(const CVORNBase& sub) {
    m_text.append(" <= (").append(sub.toString()).append(1, ')');
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator>=(const CVORNBase& sub) {
    m_text.append(" >= (").append(sub.toString()).append(1, ')');
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator==(const char& c) {
    m_text.append("='").append(1, c).append(1, '\'');
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator!=(const char& c) {
    m_text.append("!='").append(1, c).append(1, '\'');
    return wrap();
}
