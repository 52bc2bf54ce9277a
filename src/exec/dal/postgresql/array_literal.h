#pragma once

#include <string>
#include <string_view>

namespace vorn::dal {

// Builds the text of a one-dimensional PostgreSQL array, "{...}", element by
// element. Texts are always double-quoted, with '"' and '\' escaped by a
// backslash, so quotes, backslashes, braces, commas, blanks, an empty text and
// the word NULL all stay plain data. Numbers go in bare.
class PgArrayLiteral {
  public:
    void start();
    void plain(std::string_view number);
    void text(std::string_view value);
    // Closes the array; the text stays valid until the next start().
    const std::string& finish();
    std::size_t size() const noexcept { return m_text.size(); }

  private:
    void separate();

    std::string m_text;
    bool m_empty = true;
};

}  // namespace vorn::dal
