#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vorn::dal {

// The secrets a PostgreSQL URL can bring into play: the password of its
// user-info part and of a password= option, as written and percent-decoded,
// and $PGPASSWORD. Texts shorter than three bytes are left out, since masking
// them would garble messages more than it protects.
std::vector<std::string> pgSecretsOf(std::string_view url);

// text with every occurrence of a secret replaced by "***", and with the
// password of any URL in it masked.
std::string maskPgSecrets(const std::vector<std::string>& secrets, std::string_view text);

// The same for the secrets of url.
std::string maskSecretsOf(std::string_view url, std::string_view text);

}  // namespace vorn::dal
