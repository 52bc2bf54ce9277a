#include "exec/dal/postgresql/array_literal.h"

namespace vorn::dal {

void PgArrayLiteral::start() {
    m_text.clear();
    m_text.push_back('{');
    m_empty = true;
}

void PgArrayLiteral::separate() {
    if (!m_empty) {
        m_text.push_back(',');
    }
    m_empty = false;
}

void PgArrayLiteral::plain(std::string_view number) {
    separate();
    m_text.append(number);
}

void PgArrayLiteral::text(std::string_view value) {
    separate();
    m_text.push_back('"');
    std::size_t copied = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '"' || value[i] == '\\') {
            m_text.append(value.substr(copied, i - copied));
            m_text.push_back('\\');
            copied = i;
        }
    }
    m_text.append(value.substr(copied));
    m_text.push_back('"');
}

const std::string& PgArrayLiteral::finish() {
    m_text.push_back('}');
    return m_text;
}

}  // namespace vorn::dal
