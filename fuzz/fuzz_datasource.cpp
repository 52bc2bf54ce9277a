// Data-source bindings of arbitrary URLs that carry a known password in one of
// the places a password can stand: URL user information, the password and
// sslpassword query options, or a PGPASSWORD= setting inside an option, given
// to bindDataSource or, in a list, to bindDataSources. Invariant: the password
// never shows in describeDataSource's text nor in the text of any log record.
// Binding only checks a URL; it never connects, so any host will do.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "vorn/datasource.h"
#include "vorn/platform/logger.h"

namespace {

constexpr const char* kSecret = "S3cr3tZ";
constexpr const char* kSession = "fuzz";

std::mutex g_logMutex;
std::vector<std::string> g_logTexts;

void captureLog() {
    vorn::platform::Logger::setLevel(vorn::platform::LogLevel::Trace);
    vorn::platform::Logger::setSink([](const vorn::platform::LogRecord& record) {
        const std::lock_guard<std::mutex> lock(g_logMutex);
        g_logTexts.push_back(record.text);
    });
}

// The input's own bytes never hold a 'Z', so the only password in the text is
// the one planted: any "S3cr3tZ" that shows was left unmasked.
std::string noMarker(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), 'Z'), text.end());
    return text;
}

// Text that cannot end the URL part it stands in: no '/', '?', '#', '@', '&',
// ';', blank or line break (libpq reads these as the part's end, so a
// password after them would be something else than a password).
std::string plainPart(FuzzedDataProvider& in, std::size_t maxLength) {
    std::string out;
    for (const char c : noMarker(in.ConsumeRandomLengthString(maxLength))) {
        if (std::string("/?#@&; \t\r\n:=").find(c) == std::string::npos && c != '\0') {
            out.push_back(c);
        }
    }
    return out;
}

// One URL with the password in the place chosen by the input; the other parts
// are the input's bytes.
std::string makeUrl(FuzzedDataProvider& in) {
    const std::string scheme =
        in.PickValueInArray({"postgresql", "postgres", "POSTGRESQL", "sqlite"});
    const std::string user = plainPart(in, 16);
    const std::string host = noMarker(in.ConsumeRandomLengthString(32));
    const std::string path = noMarker(in.ConsumeRandomLengthString(32));
    const std::string before = noMarker(in.ConsumeRandomLengthString(48));
    const std::string after = noMarker(in.ConsumeRandomLengthString(48));
    const std::string secret = kSecret;
    switch (in.ConsumeIntegralInRange(0, 6)) {
        case 0:
            return scheme + "://" + user + ":" + secret + "@" + host + "/" + path + "?" + after;
        case 1:
            return scheme + "://" + user + "@" + plainPart(in, 16) + "/" + path + "?" + before +
                   "&password=" + secret + "&" + after;
        case 2:
            return scheme + "://" + plainPart(in, 16) + "/" + path + "?sslpassword=" + secret +
                   "&" + after;
        case 3:
            return scheme + "://" + plainPart(in, 16) + "/" + path +
                   "?options=-c%20x=" + plainPart(in, 8) + " PGPASSWORD=" + secret + "&" + after;
        case 4:  // the URL without its "//", which libpq quotes back whole
            return scheme + ":u" + user + ":" + secret + "@" + host + "/" + path;
        case 5:  // a percent-encoded key, which libpq decodes
            return scheme + "://" + plainPart(in, 16) + "/" + path + "?" + before +
                   "&%70assword=" + secret + "&" + after;
        default:
            return scheme + ":" + plainPart(in, 16) + "?" + before + "&pwd=" + secret + "&" + after;
    }
}

void checkNoSecret() {
    const std::string description = vorn::describeDataSource(kSession);
    VORN_FUZZ_CHECK_TEXT(description.find(kSecret) == std::string::npos, description);
    const std::lock_guard<std::mutex> lock(g_logMutex);
    for (const std::string& text : g_logTexts) {
        VORN_FUZZ_CHECK_TEXT(text.find(kSecret) == std::string::npos, text);
    }
    g_logTexts.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool captured = [] {
        captureLog();
        return true;
    }();
    (void)captured;
    FuzzedDataProvider in(data, size);
    const bool asList = in.ConsumeBool();
    const std::string url = makeUrl(in);
    if (asList) {
        const std::string other = noMarker(in.ConsumeRemainingBytesAsString());
        vorn::bindDataSources(std::string(kSession) + "=" + url + ";" + other);
    } else {
        vorn::bindDataSource(kSession, url);
    }
    checkNoSecret();
    vorn::unbindDataSource(kSession);
    return 0;
}
