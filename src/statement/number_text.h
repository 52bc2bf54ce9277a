#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

// Printing of numbers into SQL text, shared by the conditions and the builders.
//
// The text is printf's: integers as "%d", "%ld" or "%lu" print them, floating
// point values as "%f" (six decimals, no exponent), the whole fragment at most
// kNumberMaxChars characters. An integer's text is at most 20 characters, so it
// always fits and is made on the stack (DecimalText). A "%f" text is made by
// std::to_chars when it fits and the locale's decimal point is '.'; otherwise
// snprintf_s prints it into a zero-filled buffer of kNumberBufferSize bytes,
// and a text that does not fit (a magnitude from about 1e190 up) makes it
// report -1: the failure is logged and the statement goes on with the text cut
// at kNumberMaxChars characters.
namespace vorn::detail {

inline constexpr std::size_t kNumberBufferSize = 200;
inline constexpr std::size_t kNumberMaxChars = 199;
// Error code of a formatting failure: -1 read as an unsigned 32-bit code.
inline constexpr std::uint32_t kFormatFailureCode = 0xFFFFFFFFu;

// Where a formatting failure is reported from, and what the log line says
// after the "[VORNLib]" tag.
struct FormatSite {
    const char* unit;
    const char* function;
    int line;
    std::string_view message;
};

// The decimal text of an integer, held on the stack: the text "%d" (int and
// the smaller types), "%ld" (long) or "%lu" (unsigned long) gives.
class DecimalText {
  public:
    template <class Int>
    explicit DecimalText(Int value)
        : m_end(std::to_chars(m_digits, m_digits + sizeof m_digits, value).ptr) {
        static_assert(std::is_integral_v<Int> && sizeof(Int) <= sizeof(long),
                      "an integer up to long");
    }
    DecimalText(const DecimalText&) = delete;
    DecimalText& operator=(const DecimalText&) = delete;

    // NOLINTNEXTLINE(google-explicit-constructor): used as a piece of a text
    operator std::string_view() const noexcept {
        return std::string_view(m_digits, static_cast<std::size_t>(m_end - m_digits));
    }

  private:
    char m_digits[24];
    char* m_end;
};

// Appends prefix and the value as "%f" prints it in the current locale;
// a text longer than kNumberMaxChars is cut and logged from site, as
// appendFormatted does.
void appendFixed(std::string& out, const FormatSite& site, std::string_view prefix, double value);

}  // namespace vorn::detail
