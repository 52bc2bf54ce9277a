#include "exec/dal/pg_secret_mask.h"

#include <cstdlib>

#include "exec/dal/url_text.h"

namespace vorn::dal {
namespace {

constexpr std::size_t kShortestSecret = 3;

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string percentDecoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
            hexValue(text[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
            i += 2;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

void addSecret(std::vector<std::string>& secrets, std::string_view raw) {
    for (const std::string& form : {std::string(raw), percentDecoded(raw)}) {
        if (form.size() >= kShortestSecret) {
            secrets.push_back(form);
        }
    }
}

}  // namespace

std::vector<std::string> pgSecretsOf(std::string_view url) {
    std::vector<std::string> secrets;
    const std::size_t queryStart = url.find('?');
    const std::string_view head = url.substr(0, queryStart);
    const std::size_t authorityStart = head.find("://");
    if (authorityStart != std::string_view::npos) {
        const std::size_t from = authorityStart + 3;
        const std::size_t authorityEnd = head.find('/', from);
        const std::string_view authority = head.substr(from, authorityEnd - from);
        const std::size_t at = authority.rfind('@');
        if (at != std::string_view::npos) {
            const std::string_view userInfo = authority.substr(0, at);
            const std::size_t colon = userInfo.find(':');
            if (colon != std::string_view::npos) {
                addSecret(secrets, userInfo.substr(colon + 1));
            }
        }
    }
    if (queryStart != std::string_view::npos) {
        const std::string_view query = url.substr(queryStart + 1);
        std::size_t pos = 0;
        while (pos < query.size()) {
            std::size_t end = query.find('&', pos);
            if (end == std::string_view::npos) {
                end = query.size();
            }
            const std::string_view pair = query.substr(pos, end - pos);
            const std::size_t eq = pair.find('=');
            if (eq != std::string_view::npos && equalsIgnoreCase(pair.substr(0, eq), "password")) {
                addSecret(secrets, pair.substr(eq + 1));
            }
            pos = end + 1;
        }
    }
    if (const char* password = std::getenv("PGPASSWORD"); password != nullptr) {
        addSecret(secrets, password);
    }
    return secrets;
}

std::string maskPgSecrets(const std::vector<std::string>& secrets, std::string_view text) {
    std::string out(text);
    for (const std::string& secret : secrets) {
        std::size_t pos = 0;
        while ((pos = out.find(secret, pos)) != std::string::npos) {
            out.replace(pos, secret.size(), "***");
            pos += 3;
        }
    }
    return maskUrlSecrets(out);
}

std::string maskSecretsOf(std::string_view url, std::string_view text) {
    return maskPgSecrets(pgSecretsOf(url), text);
}

}  // namespace vorn::dal
