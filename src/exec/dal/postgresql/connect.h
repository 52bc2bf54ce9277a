#pragma once

#include <libpq-fe.h>

#include <string>
#include <vector>

#include "exec/dal/postgresql/settings.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// Opens a libpq connection with settings; null with status set on failure:
// the SQLSTATE pgConnectState tells (08001 unless libpq's text says more) and
// libpq's text with the secrets masked out. Where the server
// that accepts the session can change (PgSettings::severalServers), a failed
// attempt is tried again after a short pause, growing to 200 ms, until the
// connect timeout has passed: a call made while a standby is being promoted
// waits for it instead of failing. Success after retries is logged.
PGconn* pgConnect(const PgSettings& settings, const std::vector<std::string>& secrets,
                  platform::ExecResult& status);

}  // namespace vorn::dal
