#include "exec/platform/string_helpers.h"
#include "statement/escaping.h"
#include "statement/text_concat.h"
#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/keywords.h"
#include "vorn/selector.h"

using vorn::detail::appendConcat;
using vorn::detail::encloseConcat;
using vorn::detail::escaped;
using vorn::detail::InlineText;

namespace {

// Appends text with every single quote doubled.
void appendEscaped(InlineText& out, std::string_view text) {
    std::string storage;
    out.append(escaped(text, storage));
}

}  // namespace

// The interface takes the text by value; it is copied into the operand's own storage.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
CVORNCriterionItem::CVORNCriterionItem(std::string text) : m_text(text) {}

CVORNCriterionItem& CVORNCriterionItem::operator=(const CVORNCriterionItem& other) {
    if (this != &other) {
        m_text = other.m_text;
        m_auxText = other.m_auxText;
    }
    return *this;
}

std::string CVORNCriterionItem::toString() const {
    return m_text.str();
}

CVORNCriterion CVORNCriterionItem::current() const {
    CVORNCriterion criterion;
    criterion.m_text = m_text;
    return criterion;
}

CVORNCriterion CVORNCriterionItem::wrap() {
    encloseConcat(m_text, {});
    return current();
}

CVORNCriterion CVORNCriterionItem::compareWithText(std::string_view prefix,
                                                   const std::string& value) {
    std::string storage;
    encloseConcat(m_text, {prefix, escaped(value, storage), "'"});
    return current();
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
    appendConcat(m_text, {vorn::sql::kIn, "("});
    appendEscaped(m_text, list);
    m_text.push_back(')');
    return current();
}

CVORNCriterion CVORNCriterionItem::in(const CVORNSelector& sub) {
    const CVORNBase& statement = sub;
    appendConcat(m_text, {vorn::sql::kIn, "("});
    appendEscaped(m_text, statement.toString());
    m_text.push_back(')');
    return current();
}

CVORNCriterion CVORNCriterionItem::notIn(const std::string& list) {
    appendConcat(m_text, {vorn::sql::kNotIn, "(", list, ")"});
    return current();
}

CVORNCriterion CVORNCriterionItem::like(const std::string& pattern) {
    appendConcat(m_text, {vorn::sql::kLike, "'", vorn::platform::escapeLikePattern(pattern), "'"});
    return current();
}

// The operand is taken by value as the interface has it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
CVORNCriterion CVORNCriterionItem::operator==(CVORNCriterionItem other) {
    std::string storage;
    encloseConcat(m_text, {"=", escaped(other.m_text.view(), storage)});
    return current();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
CVORNCriterion CVORNCriterionItem::operator!=(CVORNCriterionItem other) {
    encloseConcat(m_text, {"!=", other.m_text.view()});
    return current();
}

CVORNCriterion CVORNCriterionItem::operator==(const std::string& value) {
    const std::string_view text(value);
    const std::string_view::size_type quote = text.find('\'');
    if (quote == std::string_view::npos) {
        encloseConcat(m_text, {"='", text, "'"});  // nothing to double
    } else {
        // Only the first quote is doubled; any later quote passes unchanged.
        encloseConcat(m_text, {"='", text.substr(0, quote), "'", text.substr(quote), "'"});
    }
    return current();
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
    encloseConcat(m_text, {" <= (", sub.toString(), ")"});
    return current();
}

CVORNCriterion CVORNCriterionItem::operator>=(const CVORNBase& sub) {
    encloseConcat(m_text, {" >= (", sub.toString(), ")"});
    return current();
}

CVORNCriterion CVORNCriterionItem::operator==(const char& c) {
    encloseConcat(m_text, {"='", std::string_view(&c, 1), "'"});
    return current();
}

CVORNCriterion CVORNCriterionItem::operator!=(const char& c) {
    encloseConcat(m_text, {"!='", std::string_view(&c, 1), "'"});
    return current();
}
