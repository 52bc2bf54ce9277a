#include "exec/dal/postgresql/copy_stream.h"

#include "exec/dal/postgresql/bounded_wait.h"

namespace vorn::dal {

void PgCopyStream::separate() {
    if (m_rowStarted) {
        m_buffer.push_back('\t');
    }
    m_rowStarted = true;
}

void PgCopyStream::text(std::string_view value) {
    separate();
    std::size_t copied = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        char escaped = 0;
        switch (value[i]) {
            case '\\':
                escaped = '\\';
                break;
            case '\t':
                escaped = 't';
                break;
            case '\n':
                escaped = 'n';
                break;
            case '\r':
                escaped = 'r';
                break;
            default:
                continue;
        }
        m_buffer.append(value.substr(copied, i - copied));
        m_buffer.push_back('\\');
        m_buffer.push_back(escaped);
        copied = i + 1;
    }
    m_buffer.append(value.substr(copied));
}

void PgCopyStream::plain(std::string_view value) {
    separate();
    m_buffer.append(value);
}

void PgCopyStream::endRow() {
    m_buffer.push_back('\n');
    m_rowStarted = false;
    if (m_buffer.size() >= kBlock) {
        send();
    }
}

void PgCopyStream::send() {
    while (!m_failed && !m_buffer.empty()) {
        const int queued =
            PQputCopyData(m_conn, m_buffer.data(), static_cast<int>(m_buffer.size()));
        if (queued == 1) {
            break;
        }
        // 0: libpq's buffer is full and the socket takes no more for now.
        const PgWait wait = queued == 0 ? pgAwaitSocket(m_conn, true) : PgWait::Failed;
        m_gaveUp = wait == PgWait::GiveUp;
        m_failed = wait != PgWait::Ready || PQconsumeInput(m_conn) != 1;
    }
    m_buffer.clear();
}

bool PgCopyStream::finish() {
    send();
    return !m_failed;
}

}  // namespace vorn::dal
