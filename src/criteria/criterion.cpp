#include "vorn/criterion.h"

#include "statement/text_concat.h"
#include "vorn/keywords.h"

CVORNCriterion::CVORNCriterion(const std::string& text) : m_text(text) {}

CVORNCriterion& CVORNCriterion::operator=(const CVORNCriterion& other) {
    if (this != &other) {
        m_text = other.m_text;
    }
    return *this;
}

std::string CVORNCriterion::toString() const {
    return m_text.str();
}

CVORNCriterion& CVORNCriterion::operator&&(const CVORNCriterion& other) {
    return join(vorn::sql::kAnd, other);
}

CVORNCriterion& CVORNCriterion::operator||(const CVORNCriterion& other) {
    return join(vorn::sql::kOr, other);
}

CVORNCriterion& CVORNCriterion::join(std::string_view joiner, const CVORNCriterion& other) {
    // Only an empty left side goes without the joiner; the right side is taken
    // as it is, empty or not. other may be this criterion itself: the new text
    // is made before the old one is replaced.
    const std::string_view separator = m_text.empty() ? std::string_view() : joiner;
    if (&other == this) {
        m_text.assign(
            vorn::detail::concat({"(", m_text.view(), separator, other.m_text.view(), ")"}));
    } else {
        vorn::detail::encloseConcat(m_text, {separator, other.m_text.view()});
    }
    return *this;
}
