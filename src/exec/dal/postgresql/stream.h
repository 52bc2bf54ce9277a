#pragma once

#include <memory>
#include <string>

#include "exec/dal/postgresql/gates.h"
#include "exec/dal/postgresql/result.h"
#include "exec/dal/postgresql/taken_rows.h"

namespace vorn::dal {

// One read sent as a single query in libpq's single-row mode: no transaction
// of its own, no server cursor. Its rows come off the connection one at a
// time as the reader asks for them, so client memory holds one row.
//
// When anything else is to go out on the connection while the read is open,
// the link takes the rest of its rows in (into the read's PgTakenRows), and
// the reader goes on from there, with the same rows and the same end (a
// failure that came after the last row reaches the reader after that row, as
// it would have from the wire).
//
// A read given up before its end leaves the connection free: a short rest is
// read and thrown away, a long one is cancelled on the server and what
// arrives up to the end of the query is thrown away; the cancel is never
// reported to anyone.
//
// The link knows the read by the address of its PgTakenRows: the object
// stays where it was made.
class PgStream {
  public:
    explicit PgStream(std::shared_ptr<PgLink> link) noexcept : m_link(std::move(link)) {}
    ~PgStream();
    PgStream(const PgStream&) = delete;
    PgStream& operator=(const PgStream&) = delete;

    // Sends sql, params bound to its $n, and waits for its first answer:
    // first holds the first row, or no row when the result is empty. A failure
    // here is the read's.
    platform::ExecResult open(const std::string& sql, const PgParams& params, PgResult& first);
    // The next rows (one or more) into rows; false at the end, with the
    // failure that ended the read in status, if one did.
    bool next(PgResult& rows, platform::ExecResult& status);

  private:
    void abandon();

    PgStreamGate m_link;
    PgTakenRows m_taken;  // rows taken in before the reader asked
};

}  // namespace vorn::dal
