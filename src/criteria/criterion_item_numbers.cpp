#include <type_traits>

#include "statement/number_text.h"
#include "vorn/criterion.h"
#include "vorn/platform/logger.h"
#include "vorn/platform/safe_c.h"

using vorn::detail::FormatSite;
using vorn::detail::kNumberBufferSize;
using vorn::detail::kNumberMaxChars;
using vorn::platform::snprintf_s;

namespace {

constexpr const char* kUnit = "CVORNCriterionItem";

}  // namespace

CVORNCriterion CVORNCriterionItem::operator==(const float& value) {
    vorn::detail::appendFormatted(m_text,
                                  FormatSite{kUnit, "operator==", __LINE__,
                                             "CVORNCriterionItem::operator==.snprintf_s failed"},
                                  "=%f", static_cast<double>(value));
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator==(const double& value) {
    vorn::detail::appendFormatted(m_text,
                                  FormatSite{kUnit, "operator==", __LINE__,
                                             "CVORNCriterionItem::operator==.snprintf_s failed"},
                                  "=%f", value);
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator!=(const float& value) {
    vorn::detail::appendFormatted(m_text,
                                  FormatSite{kUnit, "operator!=", __LINE__,
                                             "CVORNCriterionItem::operator!=.snprintf_s failed"},
                                  "!=%f", static_cast<double>(value));
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator!=(const double& value) {
    vorn::detail::appendFormatted(m_text,
                                  FormatSite{kUnit, "operator!=", __LINE__,
                                             "CVORNCriterionItem::operator!=.snprintf_s failed"},
                                  "!=%f", value);
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator>=(int value) {
    vorn::detail::appendFormatted(m_text,
                                  FormatSite{kUnit, "operator>=", __LINE__,
                                             "CVORNCriterionItem::operator>=.snprintf_s failed"},
                                  " >= %d", value);
    return wrap();
}

CVORNCriterion CVORNCriterionItem::operator<=(int value) {
    vorn::detail::appendFormatted(m_text,
                                  FormatSite{kUnit, "operator<=", __LINE__,
                                             "CVORNCriterionItem::operator<=.snprintf_s failed"},
                                  " <= %d", value);
    return wrap();
}

template <typename Int>
CVORNCriterion CVORNCriterionItem::createCriterionWithInt(Int value, bool isEqual,
                                                          bool isUnsigned) {
    static_assert(std::is_integral_v<Int>, "integer comparisons only");
    char buffer[kNumberBufferSize] = {};
    int written = 0;
    // Signed values are sign-extended to 64 bits, unsigned ones zero-extended.
    if (isUnsigned) {
        const auto wide = static_cast<unsigned long>(value);
        written = isEqual ? snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "=%lu", wide)
                          : snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "!=%lu", wide);
    } else {
        const auto wide = static_cast<long>(value);
        written = isEqual ? snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "=%ld", wide)
                          : snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "!=%ld", wide);
    }
    if (written < 0) {
        // This path logs its plain message: no tag, no scrubbing.
        vorn::platform::Logger::error(
            vorn::detail::kFormatFailureCode,
            vorn::platform::SourceLocation{kUnit, "createCriterionWithInt", __LINE__},
            "CVORNCriterion createCriterionWithInt.snprintf_s failed");
        m_text.append(buffer);
    } else {
        m_text.append(buffer, static_cast<std::size_t>(written));
    }
    return wrap();
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
