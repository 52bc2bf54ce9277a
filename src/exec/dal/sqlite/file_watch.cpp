#include "exec/dal/sqlite/file_watch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vorn::dal {
namespace {

const char* const kWalSuffix = "-wal";
const char* const kShmSuffix = "-shm";

}  // namespace

SqliteFileWatch::SqliteFileWatch(std::string path) : m_path(std::move(path)) {
    if (!m_path.empty()) {
        m_file = identityOf(m_path);
        m_wal = identityOf(m_path + kWalSuffix);
        m_shm = identityOf(m_path + kShmSuffix);
    }
}

SqliteFileWatch::Identity SqliteFileWatch::identityOf(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return {};
    }
    return {info.st_dev, info.st_ino, true};
}

bool SqliteFileWatch::replaced() const {
    if (!m_file.known) {
        return false;
    }
    struct stat info {};
    if (::stat(m_path.c_str(), &info) != 0) {
        // Anything else (a directory made unreadable, say) does not tell.
        return errno == ENOENT || errno == ENOTDIR;
    }
    return info.st_ino != m_file.inode || info.st_dev != m_file.device;
}

void SqliteFileWatch::dropSideFiles() const {
    const std::pair<const char*, const Identity*> sides[] = {{kWalSuffix, &m_wal},
                                                             {kShmSuffix, &m_shm}};
    for (const auto& [suffix, noted] : sides) {
        const std::string path = m_path + suffix;
        const Identity now = identityOf(path);
        if (noted->known && now.known && now.device == noted->device && now.inode == noted->inode) {
            // Failing (a read-only directory) leaves them as they were.
            static_cast<void>(::unlink(path.c_str()));
        }
    }
}

}  // namespace vorn::dal
