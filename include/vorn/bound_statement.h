#pragma once

/// @file
/// @brief vorn::BoundStatement: a statement whose values the store binds.

#include <string>
#include <utility>

#include "vorn/base.h"
#include "vorn/export.h"
#include "vorn/platform/data_access.h"

namespace vorn {

/// One statement whose values travel beside its text and are bound by the
/// store, never written into the SQL: the safe way to pass values a caller does
/// not control.
///
/// @code
///   vorn::BoundStatement find("select id, text from alarm"
///                             " where text = {text} and level >= {level}");
///   find.bind("text", userText).bind("level", 3);
///   db->execReadSQL(find, reader);
/// @endcode
///
/// A placeholder is "{" + name + "}", the name made of ASCII letters, digits
/// and '_', anywhere outside quoted text and comments (``"'{x}'"`` and
/// `"-- {x}"` are text, not placeholders). The same placeholder may appear more
/// than once; all of them take the one value. Run the statement with
/// execWriteSQL or execReadSQL of a MIRAsqlDB (through GuardDB as usual),
/// inside or outside the caller's transaction; reads stream into CVORNReader as
/// any other read.
///
/// bind() keeps the value under the name, replacing one bound before, so a
/// statement can be run again with new values; the store's prepared form of
/// the text is reused where that needs no state on the server (SQLite keeps
/// prepared statements per connection; PostgreSQL gets the text with its
/// parameters in one round trip, as an unnamed statement, which poolers in
/// transaction mode pass through).
///
/// Values are bound as the store's own types: texts with their length (SQLite
/// keeps NUL bytes; PostgreSQL refuses them, and text that is not valid UTF-8,
/// with SQLSTATE 22021), integers as 64-bit integers (an unsigned value above
/// INT64_MAX as the signed integer of the same bits, which strtoul of the text
/// read back turns into the original value), float and double as the double of
/// their value, exactly; bool as the integer 1 or 0, char as a one-character
/// text, CVORNNull as SQL NULL. On PostgreSQL each parameter's type is taken
/// from where it stands in the statement; cast it where nothing tells
/// (`"select {n}::bigint + 1"`).
///
/// The call refuses, running nothing, with a code of vorn/platform/error_codes.h
/// (logged, and categorised as Refused by vorn/diagnostics.h):
///   - errc::kUnknownPlaceholder: a placeholder with no value bound;
///   - errc::kUnusedParameter: a value bound to a name the text does not hold;
///   - errc::kMalformedPlaceholder: a "{" outside quoted text that does not
///     make a placeholder (`"{}"`, `"{a b}"`, `"{a"` with no `"}"`), a name that cannot
///     be one, or a parameter marker of the store's own (`"?"`, `":name"`, `"$1"`);
///   - errc::kMultipleStatements: text holding a second statement.
///
/// toString() gives the text as written, placeholders and all: a database
/// object that ran it as a raw statement would fail on the "{" rather than run
/// it without its values.
class VORN_API BoundStatement final : public CVORNBase {
  public:
    /// A statement of that text with no value bound. The text is not checked
    /// here: placeholders are checked when the statement is run.
    explicit BoundStatement(std::string text);
    ~BoundStatement() override;
    /// Copies the text, the table list and the bound values.
    BoundStatement(const BoundStatement&);
    /// Copies the text, the table list and the bound values.
    BoundStatement& operator=(const BoundStatement&);

    /// Binds a text, with its length (NUL bytes included).
    BoundStatement& bind(const std::string& name, const std::string& value);
    /// Binds a text up to its NUL byte.
    /// Throws std::invalid_argument for a null pointer (bind CVORNNull for NULL).
    BoundStatement& bind(const std::string& name, const char* value);
    /// Binds a one-character text.
    BoundStatement& bind(const std::string& name, char value);
    /// Binds the integer 1 for true, 0 for false.
    BoundStatement& bind(const std::string& name, bool value);
    /// Binds a 64-bit integer.
    BoundStatement& bind(const std::string& name, short value);
    /// Binds a 64-bit integer.
    BoundStatement& bind(const std::string& name, int value);
    /// Binds a 64-bit integer.
    BoundStatement& bind(const std::string& name, long value);
    /// Binds a 64-bit integer.
    BoundStatement& bind(const std::string& name, long long value);
    /// Binds a 64-bit integer.
    BoundStatement& bind(const std::string& name, unsigned short value);
    /// Binds a 64-bit integer.
    BoundStatement& bind(const std::string& name, unsigned int value);
    /// Binds an unsigned 64-bit integer; above INT64_MAX, the signed integer of
    /// the same bits.
    BoundStatement& bind(const std::string& name, unsigned long value);
    /// Binds an unsigned 64-bit integer; above INT64_MAX, the signed integer of
    /// the same bits.
    BoundStatement& bind(const std::string& name, unsigned long long value);
    /// Binds the double of the value, exactly.
    BoundStatement& bind(const std::string& name, float value);
    /// Binds a double.
    BoundStatement& bind(const std::string& name, double value);
    /// Binds SQL NULL.
    BoundStatement& bind(const std::string& name, const CVORNNull& value);
    /// Any other pointer would otherwise bind as a bool.
    template <typename T>
    BoundStatement& bind(const std::string& name, const T* value) = delete;

    /// Forgets every bound value; the text stays.
    void clearBindings();

    /// The text as written.
    std::string toString() const override;
    /// Records the table in the table list; the text does not change.
    CVORNTable table(const std::string& name) override;
    /// Forgets the bound values (as clearBindings); the text stays.
    void clear() override;

    /// The text as written, placeholders and all.
    const std::string& text() const noexcept { return m_text; }
    /// The values bound so far, in the order their names were first bound.
    const platform::BoundParameters& parameters() const noexcept { return m_parameters; }

  private:
    VORN_LOCAL BoundStatement& keep(const std::string& name, platform::BoundValue value);

    std::string m_text;
    platform::BoundParameters m_parameters;
};

}  // namespace vorn
