#include <type_traits>

#include "statement/number_text.h"
#include "statement/text_concat.h"
#include "vorn/criterion.h"

using vorn::detail::DecimalText;
using vorn::detail::encloseConcat;
using vorn::detail::FormatSite;

namespace {

constexpr const char* kUnit = "CVORNCriterionItem";

// Appends prefix and the value as "%f" prints it (see appendFixed).
void appendFixed(vorn::detail::InlineText& out, const FormatSite& site, std::string_view prefix,
                 double value) {
    std::string text;
    vorn::detail::appendFixed(text, site, prefix, value);
    out.append(text);
}

}  // namespace

CVORNCriterion CVORNCriterionItem::operator==(const float& value) {
    appendFixed(m_text,
                FormatSite{kUnit, "operator==", __LINE__,
                           "CVORNCriterionItem::operator==.snprintf_s failed"},
                "=", static_cast<double>(value));
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator==(const double& value) {
    appendFixed(m_text,
                FormatSite{kUnit, "operator==", __LINE__,
                           "CVORNCriterionItem::operator==.snprintf_s failed"},
                "=", value);
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator!=(const float& value) {
    appendFixed(m_text,
                FormatSite{kUnit, "operator!=", __LINE__,
                           "CVORNCriterionItem::operator!=.snprintf_s failed"},
                "!=", static_cast<double>(value));
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator!=(const double& value) {
    appendFixed(m_text,
                FormatSite{kUnit, "operator!=", __LINE__,
                           "CVORNCriterionItem::operator!=.snprintf_s failed"},
                "!=", value);
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator>=(int value) {
    encloseConcat(m_text, {" >= ", DecimalText(value)});
    return current();
}

CVORNCriterion CVORNCriterionItem::operator<=(int value) {
    encloseConcat(m_text, {" <= ", DecimalText(value)});
    return current();
}

template <typename Int>
CVORNCriterion CVORNCriterionItem::createCriterionWithInt(Int value, bool isEqual,
                                                          bool isUnsigned) {
    static_assert(std::is_integral_v<Int>, "integer comparisons only");
    const std::string_view prefix = isEqual ? "=" : "!=";
    // Signed values are sign-extended to 64 bits, unsigned ones zero-extended.
    if (isUnsigned) {
        encloseConcat(m_text, {prefix, DecimalText(static_cast<unsigned long>(value))});
    } else {
        encloseConcat(m_text, {prefix, DecimalText(static_cast<long>(value))});
    }
    return current();
}

CVORNCriterion CVORNCriterionItem::operator==(const short& value) {
    return createCriterionWithInt(value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const int& value) {
    return createCriterionWithInt(value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const unsigned int& value) {
    return createCriterionWithInt(value, true, true);
}

CVORNCriterion CVORNCriterionItem::operator==(const unsigned long& value) {
    return createCriterionWithInt(value, true, true);
}

CVORNCriterion CVORNCriterionItem::operator==(const long& value) {
    return createCriterionWithInt(value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const short& value) {
    return createCriterionWithInt(value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const int& value) {
    return createCriterionWithInt(value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const unsigned int& value) {
    return createCriterionWithInt(value, false, true);
}

CVORNCriterion CVORNCriterionItem::operator!=(const unsigned long& value) {
    return createCriterionWithInt(value, false, true);
}

CVORNCriterion CVORNCriterionItem::operator!=(const long& value) {
    return createCriterionWithInt(value, false, false);
}
