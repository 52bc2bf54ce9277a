#include "vorn/criterion.h"

#include "vorn/keywords.h"

CVORNCriterion::CVORNCriterion(const std::string& text) : m_text(text) {}

CVORNCriterion& CVORNCriterion::operator=(const CVORNCriterion& other) {
    if (this != &other) {
        m_text = other.m_text;
    }
    return *this;
}

std::string CVORNCriterion::toString() const { return m_text; }

CVORNCriterion& CVORNCriterion::operator&&(const CVORNCriterion& other) {
    return join(vorn::sql::kAnd, other);
}

CVORNCriterion& CVORNCriterion::operator||(const CVORNCriterion& other) {
    return join(vorn::sql::kOr, other);
}

CVORNCriterion& CVORNCriterion::join(std::string_view joiner, const CVORNCriterion& other) {
    // Only an empty left side goes without the joiner; the right side is taken
    // as it is, empty or not. The result is built aside first, so joining a
    // criterion with itself reads the old text.
    std::string joined;
    joined.reserve(m_text.size() + joiner.size() + other.m_text.size() + 2);
    joined.push_back('(');
    joined.append(m_text);
    if (!m_text.empty()) {
        joined.append(joiner);
    }
    joined.append(other.m_text);
    joined.push_back(')');
    m_text.swap(joined);
    return *this;
}
