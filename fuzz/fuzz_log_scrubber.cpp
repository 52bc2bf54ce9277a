// LogScrubber::scrub on arbitrary text around a planted password, written in
// one of the forms the masker knows (key=value, key = 'quoted value', a key
// glued to other text or percent-encoded, URL user information, also without
// the URL's "//"). Invariants: the result holds no
// control character (C0, DEL, or a UTF-8 C1 control) and never the password.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "vorn/platform/logger.h"

namespace {

constexpr const char* kSecret = "S3cr3tZ";

struct Form {
    const char* before;  // the key and whatever opens the value
    const char* after;   // whatever closes the value
    bool quoted;
};

constexpr Form kForms[] = {
    {"password=", "", false},      {"PASSWORD = '", "'", true},
    {"sslpassword=", "", false},   {"pwd = \"", "\"", true},
    {"PGPASSWORD=", "", false},    {"db_passwd= '", "' ", true},
    {"%70assword=", "", false},    {"pass%77ord = '", "'", true},
    {"postgresql://", "@", false},  // user information: the user is added below
    {"postgresql:", "@", false},    // the same, mistyped without its "//"
};

// The key's letters in the case the input asks for.
std::string withCase(std::string text, std::uint32_t bits) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z' && (bits & 1U) != 0) {
            c = static_cast<char>(c - 'a' + 'A');
        }
        bits = (bits >> 1U) | (bits << 31U);
    }
    return text;
}

// The input's own bytes never hold a 'Z', so the only password in the text is
// the one planted: any "S3cr3tZ" that shows was left unmasked.
std::string noMarker(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), 'Z'), text.end());
    return text;
}

// A quote left open before a quoted value would end at the value's opening
// quote and leave the value outside: that is other text's secret, not this one.
std::string withoutQuotes(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c != '\'' && c != '"' && c != '\\') {
            out.push_back(c);
        }
    }
    return out;
}

bool isControl(unsigned char byte) {
    return byte < 0x20U || byte == 0x7FU;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const Form& form = in.PickValueInArray(kForms);
    const std::uint32_t caseBits = in.ConsumeIntegral<std::uint32_t>();
    std::string prefix = noMarker(in.ConsumeRandomLengthString(128));
    const std::string user = noMarker(in.ConsumeRandomLengthString(32));
    const std::string suffix = noMarker(in.ConsumeRemainingBytesAsString());
    if (form.quoted) {
        prefix = withoutQuotes(prefix);
    }
    std::string text = prefix + withCase(form.before, caseBits);
    if (form.after[0] == '@') {
        // The user name runs to the first ':' and, as libpq reads it, cannot
        // hold the '/' or line break that ends the authority.
        // Without the "//", a user name must be there and hold no blank.
        const bool bare = std::string(form.before).back() == ':';
        std::string plainUser = bare ? "u" : "";
        for (const char c : user) {
            if (c != '/' && c != '\n' && c != '\r' && c != ':' &&
                !(bare && (c == ' ' || c == '\t'))) {
                plainUser.push_back(c);
            }
        }
        text += plainUser + ":";
    }
    text += std::string(kSecret) + form.after + suffix;

    const std::string out = vorn::platform::LogScrubber::scrub(text);
    VORN_FUZZ_CHECK_TEXT(out.find(kSecret) == std::string::npos, text);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const auto byte = static_cast<unsigned char>(out[i]);
        VORN_FUZZ_CHECK_TEXT(!isControl(byte), text);
        if (byte == 0xC2U && i + 1 < out.size()) {
            const auto next = static_cast<unsigned char>(out[i + 1]);
            VORN_FUZZ_CHECK_TEXT(next < 0x80U || next > 0x9FU, text);
        }
    }
    return 0;
}
