#include "vorn/criterion.h"

#include "vorn/keywords.h"

CVORNCriterion::CVORNCriterion(const std::string& text) : m_text(text) {}

CVORNCriterion& CVORNCriterion::operator=(const CVORNCriterion& other) {
    if (this != &other) {
        m_text = other.m_text;
    }
    return *this;
}

std::string CVORNCriterion::toString() const {
    return m_text;
}

CVORNCriterion& CVORNCriterion::operator&&(const CVORNCriterion& other) {
    return join(vorn::sql::kAnd, other);
}

CVORNCriterion& CVORNCriterion::operator||(const CVORNCriterion& other) {
    return join(vorn::sql::kOr, other);
}

CVORNCriterion& CVORNCriterion::join(std::string_view joiner, const CVORNCriterion& other) {
    if (&other == this) {
        // Joining a criterion with itself: join the old text, kept aside.
        const CVORNCriterion previous(*this);
        return join(joiner, previous);
    }
    // Only an empty left side goes without the joiner; the right side is taken
    // as it is, empty or not.
    const bool leftEmpty = m_text.empty();
    m_text.reserve(m_text.size() + joiner.size() + other.m_text.size() + 2);
    m_text.insert(m_text.begin(), '(');
    if (!leftEmpty) {
        m_text.append(joiner);
    }
    m_text.append(other.m_text);
    m_text.push_back(')');
    return *this;
}
