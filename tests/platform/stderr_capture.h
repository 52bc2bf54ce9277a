#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace vorn::test {

// Everything in the file at path.
inline std::string fileText(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Redirects file descriptor 2 into a file until finish(), which restores it
// and returns what was written.
class StderrCapture {
  public:
    explicit StderrCapture(std::string path) : m_path(std::move(path)) {
        (void)std::fflush(stderr);
        m_saved = ::dup(STDERR_FILENO);
        const int fd = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        (void)::dup2(fd, STDERR_FILENO);
        (void)::close(fd);
    }
    ~StderrCapture() { restore(); }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    std::string finish() {
        restore();
        return fileText(m_path);
    }

  private:
    void restore() {
        if (m_saved >= 0) {
            (void)std::fflush(stderr);
            (void)::dup2(m_saved, STDERR_FILENO);
            (void)::close(m_saved);
            m_saved = -1;
        }
    }

    std::string m_path;
    int m_saved = -1;
};

}  // namespace vorn::test
