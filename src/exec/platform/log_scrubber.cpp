#include <cstddef>

#include "exec/platform/secret_mask.h"
#include "vorn/platform/logger.h"

namespace vorn::platform {

namespace {

void appendEscaped(std::string& out, unsigned char byte) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    out.append("\\x");
    out.push_back(kHex[byte >> 4U]);
    out.push_back(kHex[byte & 0x0FU]);
}

// C0 controls, DEL and the UTF-8 form of the C1 controls (0xC2 0x80..0x9F)
// become \xHH per byte; every other byte is kept.
std::string escapeControls(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20U || byte == 0x7FU) {
            appendEscaped(out, byte);
        } else if (byte == 0xC2U && i + 1 < text.size() &&
                   static_cast<unsigned char>(text[i + 1]) >= 0x80U &&
                   static_cast<unsigned char>(text[i + 1]) <= 0x9FU) {
            appendEscaped(out, byte);
            appendEscaped(out, static_cast<unsigned char>(text[i + 1]));
            ++i;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

}  // namespace

// Secrets are masked on the raw text first, so whitespace and line breaks
// still end a value; the escaping then makes the result one safe line.
std::string LogScrubber::scrub(const std::string& text) {
    return escapeControls(SecretMask::mask(text));
}

}  // namespace vorn::platform
