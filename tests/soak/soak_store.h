#pragma once

#include <map>
#include <memory>
#include <string>

namespace vorn::test::soak {

// What is stored under one unit key.
struct Stored {
    long rows = 0;
    long maxN = -1;  // the highest row number n
};

// The soak table seen through the store's own client library (sqlite3,
// libpq), never through VORNLib: created before the workers start, read back
// after they have ended.
class RawStore {
  public:
    virtual ~RawStore() = default;

    // The URL the workers bind their session to.
    virtual std::string url() const = 0;
    // Creates the empty table soak(unit, n, payload), (unit, n) unique.
    virtual bool create(std::string& problem) = 0;
    // Every unit key stored, with its rows.
    virtual bool stored(std::map<std::string, Stored>& units, std::string& problem) = 0;
};

std::unique_ptr<RawStore> rawSqliteStore(const std::string& file);
// In a schema of its own on the server, dropped with the object. Null when
// this build has no PostgreSQL client.
std::unique_ptr<RawStore> rawPostgresStore(const std::string& serverUrl);

}  // namespace vorn::test::soak
