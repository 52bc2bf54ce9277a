#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::dal {

// Turns a one-row INSERT into one that inserts a whole batch from arrays:
//   insert into t (a, b) values($1, $2 + 1) on conflict do nothing
// becomes
//   insert into t (a, b) SELECT vorn_batch_rows.p1, vorn_batch_rows.p2 + 1
//   FROM unnest($1, $2) AS vorn_batch_rows(p1, p2) on conflict do nothing
// where each $n is now an array of the values of parameter n, one element per
// row. The server then inserts every row in one statement.
class PgInsertRewrite {
  public:
    // False (out untouched) unless sql is INSERT INTO ... VALUES with exactly
    // one row, no DEFAULT in it, and parameters $1..$parameters all used and
    // used only inside that row.
    static bool toUnnest(std::string_view sql, std::size_t parameters, std::string& out);

    // The plainest INSERT, which COPY can do instead:
    //   insert into <relation> (<columns>) values($2, $1, ...)
    // with nothing after the row and each of $1..$parameters given once,
    // alone, as the value of one listed column. relation and columns get the
    // text as written; order[i] is the parameter (0-based) of column i.
    static bool toCopy(std::string_view sql, std::size_t parameters, std::string& relation,
                       std::string& columns, std::vector<std::size_t>& order);
};

}  // namespace vorn::dal
