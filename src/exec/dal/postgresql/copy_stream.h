#pragma once

#include <libpq-fe.h>

#include <string>
#include <string_view>

namespace vorn::dal {

// Writes the rows of a COPY ... FROM STDIN in COPY's text format: fields
// separated by tabs, rows ended by a newline, and in texts the backslash, tab,
// newline and carriage return escaped with a backslash (so no text can end the
// data early or read as NULL, which is "\N"). Data goes to the server in
// blocks of 64 KiB, on a connection in nonblocking mode: a server that takes
// no more is waited for within the call's bound.
class PgCopyStream {
  public:
    explicit PgCopyStream(PGconn* conn) : m_conn(conn) { m_buffer.reserve(kBlock + 1024); }

    // A field of text, escaped.
    void text(std::string_view value);
    // A field that needs no escaping (a number).
    void plain(std::string_view value);
    void endRow();
    // Sends what is left. False when sending failed at any point.
    bool finish();
    // True when the call ended while the server took no more data (see
    // bounded_wait.h); finish() is then false too.
    bool gaveUp() const noexcept { return m_gaveUp; }

  private:
    static constexpr std::size_t kBlock = std::size_t{64} * 1024;

    void separate();
    void send();

    PGconn* m_conn;
    std::string m_buffer;
    bool m_rowStarted = false;
    bool m_failed = false;
    bool m_gaveUp = false;
};

}  // namespace vorn::dal
