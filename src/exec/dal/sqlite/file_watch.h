#pragma once

#include <sys/types.h>

#include <string>

namespace vorn::dal {

// Whether the database file at a connection's path is still the one the
// connection opened, told by the device and inode numbers that stat() gives
// for the path. It never opens a descriptor of its own on the file: closing
// any descriptor of a file drops every POSIX lock the process holds on it,
// SQLite's included.
//
// A file deleted, or replaced by another one renamed over it (a backup put
// back), stays open for the connection, which would go on reading and writing
// the unlinked file that no one else will ever see. Its -wal and -shm files
// stay at the path though, beside the new file, with the old file's pages
// in them: SQLite would take them for the new file's own, so that the next
// connection opened at the path would read the old file's pages and, at its
// checkpoint, write them over the new one. dropSideFiles() removes them, as
// long as they are still the very files noted at open.
class SqliteFileWatch {
  public:
    // Nothing to watch: an in-memory or temporary database.
    SqliteFileWatch() = default;
    // path: the full name of the open database file ("" for an in-memory or
    // temporary database, which is never replaced). The -wal and -shm files
    // are noted as they are now; a connection in WAL mode has opened them.
    explicit SqliteFileWatch(std::string path);

    // True when no file is at the path any more, or another one. One stat();
    // a failure other than a missing file or directory counts as unchanged.
    bool replaced() const;
    // Removes the -wal and -shm files at the path if they are the ones noted
    // at open, i.e. the replaced file's.
    void dropSideFiles() const;

  private:
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        bool known = false;
    };
    static Identity identityOf(const std::string& path);

    std::string m_path;
    Identity m_file;
    Identity m_wal;
    Identity m_shm;
};

}  // namespace vorn::dal
