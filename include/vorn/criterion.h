#pragma once

/// @file
/// @brief WHERE conditions: operands, comparisons, joins and aggregates.

#include <string>
#include <string_view>

#include "vorn/detail/inline_text.h"
#include "vorn/export.h"

class CVORNBase;
class CVORNSelector;

/// One rendered WHERE condition. && and || join in place: the left operand is
/// rewritten to `"(<left> and <right>)"` and returned, so `a && b` changes `a`.
/// A left operand whose text is empty gets no joiner (`"((right))"`); the right
/// operand is never tested (`"((age=5) and )"`).
class VORN_API CVORNCriterion {
  public:
    /// A condition with empty text.
    CVORNCriterion() = default;
    /// Copies the text.
    CVORNCriterion(const CVORNCriterion& other) = default;
    /// A condition whose text is text, written as it is.
    explicit CVORNCriterion(const std::string& text);
    /// Copies the text.
    CVORNCriterion& operator=(const CVORNCriterion& other);

    /// The condition's text.
    std::string toString() const;

    /// Rewrites this condition to `"(<this> and <other>)"` and returns it.
    CVORNCriterion& operator&&(const CVORNCriterion& other);
    /// Rewrites this condition to `"(<this> or <other>)"` and returns it.
    CVORNCriterion& operator||(const CVORNCriterion& other);

  private:
    // The builders copy the text straight into their condition clause, and
    // the operands write it.
    friend class CVORNSelector;
    friend class CVORNUpdater;
    friend class CVORNDeleter;
    friend class CVORNCriterionItem;

    VORN_LOCAL CVORNCriterion& join(std::string_view joiner, const CVORNCriterion& other);

    vorn::detail::InlineText m_text;
};

/// The left-hand operand of a condition. Every comparison appends its fragment
/// to the operand's own text (and most wrap it in parentheses) before returning
/// it as a CVORNCriterion, so an operand accumulates: comparing the same object
/// twice chains the two fragments (`"((age=1)=2)"`). Take a fresh operand per
/// comparison, e.g. from CVORNTable::operator[].
///
/// Spacing is uneven on purpose: equality and inequality are written without
/// blanks (`"(age=5)"`, ``"(name!='x')"``), the ordering comparisons with one blank on
/// each side (`"(age >= 18)"`), and in / not in / LIKE keep their blanks but get
/// no parentheses of their own (`"id in (1,2)"`).
///
/// Quoting. Values given as std::string are escaped by doubling single quotes,
/// with these deliberate exceptions that callers must keep in mind:
///  - operator==(const std::string&) doubles only the FIRST single quote of the
///    value; later quotes pass through and end the literal, so the rest of the
///    value is read as SQL: ``"x'' OR 1=1 OR ''='"`` renders
///    ``"(c='x''' OR 1=1 OR ''='')"``, which matches every row. Never pass
///    untrusted text to it; use operator!=, operator<=, operator>= or a batch
///    for such values.
///  - notIn() appends its list verbatim, and in() changes nothing in its list
///    but the quotes: both lists are SQL text, not values.
///  - operator!=(CVORNCriterionItem) appends the other operand's text verbatim.
///  - operator<= / operator>= on a statement append its text verbatim.
///  - the char comparisons write the character verbatim: a quote is not doubled
///    and leaves the literal open (``"(c=''')"``).
///  - in(const std::string&) doubles every quote of its list, so a list of
///    quoted strings (``"'a','b'"``) no longer reads as strings; in() with a
///    selector does the same to the sub-select's text.
///  - like() relies on escapeLikePattern(): quotes are doubled, ``'%%'`` and ``'_'`` stay
///    wildcards.
class VORN_API CVORNCriterionItem {
  public:
    /// An operand with empty text.
    CVORNCriterionItem() = default;
    /// Copies the operand's text.
    CVORNCriterionItem(const CVORNCriterionItem& other) = default;
    /// An operand whose text is text, written as it is (not escaped).
    explicit CVORNCriterionItem(std::string text);
    /// Copies the operand's text.
    CVORNCriterionItem& operator=(const CVORNCriterionItem& other);
    ~CVORNCriterionItem() = default;

    /// Resets the text to the escaped name and returns a copy.
    CVORNCriterionItem operator[](const std::string& name);
    /// Appends "'" and the escaped value; no closing quote, no parentheses.
    CVORNCriterion operator()(const std::string& value);
    /// The operand's text as it stands.
    std::string toString() const;

    /// `" in (<list>)"` with every quote of the list doubled. The list is still
    /// SQL text (numbers, commas, parentheses pass unchanged), so it must not be
    /// assembled from untrusted input.
    CVORNCriterion in(const std::string& list);
    /// `" in (<sub-select>)"` with every quote of the sub-select's text doubled.
    CVORNCriterion in(const CVORNSelector& sub);
    /// `" not in (<list>)"`. The list is written verbatim: it is SQL text, not a
    /// value, and must never carry caller-supplied data.
    CVORNCriterion notIn(const std::string& list);
    /// ``" LIKE '<pattern>'"``, the pattern's quotes doubled; ``'%%'`` and ``'_'`` stay
    /// wildcards. No parentheses.
    CVORNCriterion like(const std::string& pattern);

    /// `"(<this>=<other>)"`: the other operand's text with its quotes doubled.
    CVORNCriterion operator==(CVORNCriterionItem other);
    /// `"(<this>!=<other>)"`: the other operand's text verbatim.
    CVORNCriterion operator!=(CVORNCriterionItem other);
    /// ``"(<this>='<value>')"``. Doubles only the first single quote of value (see
    /// the class comment): unsafe for untrusted text.
    CVORNCriterion operator==(const std::string& value);
    /// ``"(<this>!='<value>')"``, every quote of the value doubled.
    CVORNCriterion operator!=(const std::string& value);
    /// ``"(<this> <= '<value>')"``, every quote of the value doubled.
    CVORNCriterion operator<=(const std::string& value);
    /// ``"(<this> >= '<value>')"``, every quote of the value doubled.
    CVORNCriterion operator>=(const std::string& value);
    /// `"(<this> <= (<sub>))"`. The sub-statement's text is written verbatim
    /// between parentheses; it is SQL text and must not be assembled from
    /// untrusted input.
    CVORNCriterion operator<=(const CVORNBase& sub);
    /// `"(<this> >= (<sub>))"`, the sub-statement's text verbatim, as operator<=.
    CVORNCriterion operator>=(const CVORNBase& sub);
    /// ``"(<this>='<c>')"``. The character is written verbatim between quotes.
    CVORNCriterion operator==(const char& c);
    /// ``"(<this>!='<c>')"``. The character is written verbatim between quotes.
    CVORNCriterion operator!=(const char& c);
    /// `"(<this>=<value>)"` with `"%f"`: six decimals, no exponent.
    CVORNCriterion operator==(const float& value);
    /// `"(<this>=<value>)"` with `"%f"`: six decimals, no exponent.
    CVORNCriterion operator==(const double& value);
    /// `"(<this>!=<value>)"` with `"%f"`: six decimals, no exponent.
    CVORNCriterion operator!=(const float& value);
    /// `"(<this>!=<value>)"` with `"%f"`: six decimals, no exponent.
    CVORNCriterion operator!=(const double& value);
    /// `"(<this> >= <value>)"`.
    CVORNCriterion operator>=(int value);
    /// `"(<this> <= <value>)"`.
    CVORNCriterion operator<=(int value);
    /// `"(<this>=<value>)"`, in decimal.
    CVORNCriterion operator==(const short& value);
    /// `"(<this>=<value>)"`, in decimal.
    CVORNCriterion operator==(const int& value);
    /// `"(<this>=<value>)"`, in decimal.
    CVORNCriterion operator==(const unsigned int& value);
    /// `"(<this>=<value>)"`, in decimal.
    CVORNCriterion operator==(const unsigned long& value);
    /// `"(<this>=<value>)"`, in decimal.
    CVORNCriterion operator==(const long& value);
    /// `"(<this>!=<value>)"`, in decimal.
    CVORNCriterion operator!=(const short& value);
    /// `"(<this>!=<value>)"`, in decimal.
    CVORNCriterion operator!=(const int& value);
    /// `"(<this>!=<value>)"`, in decimal.
    CVORNCriterion operator!=(const unsigned int& value);
    /// `"(<this>!=<value>)"`, in decimal.
    CVORNCriterion operator!=(const unsigned long& value);
    /// `"(<this>!=<value>)"`, in decimal.
    CVORNCriterion operator!=(const long& value);

  private:
    // CVORNTable::operator[] writes the operand's text in place.
    friend class CVORNTable;

    // The criterion over the current text, without parentheses.
    VORN_LOCAL CVORNCriterion current() const;
    // Encloses the text in parentheses and returns the criterion over it.
    VORN_LOCAL CVORNCriterion wrap();
    // Appends prefix, the escaped value and a closing quote, then wraps.
    VORN_LOCAL CVORNCriterion compareWithText(std::string_view prefix, const std::string& value);
    // ==/!= on the integer types: "=%ld"/"!=%ld" for the signed ones and
    // "=%lu"/"!=%lu" for the unsigned ones, the value widened to 64 bits.
    template <typename Int>
    VORN_LOCAL CVORNCriterion createCriterionWithInt(Int value, bool isEqual, bool isUnsigned);

    vorn::detail::InlineText m_text;
    // Copied and assigned with the operand; nothing else reads or sets it.
    std::string m_auxText;
};

/// `" min(<item>)"`.
///
/// Aggregates, usable as selected columns (CVORNSelector::operator<<) or as
/// operands. The texts keep a leading blank: `" min(age)"`, `" avg (age)"`,
/// `" count(*)"`.
VORN_API CVORNCriterionItem vornMin(const CVORNCriterionItem& item);
/// `" max(<item>)"`, with the leading blank of every aggregate (see vornMin()).
VORN_API CVORNCriterionItem vornMax(const CVORNCriterionItem& item);
/// `" avg (<item>)"`: a blank before and after "avg" (see vornMin()).
VORN_API CVORNCriterionItem vornAvg(const CVORNCriterionItem& item);
/// `" count(<item>)"`, with the leading blank of every aggregate (see vornMin()).
VORN_API CVORNCriterionItem vornCount(const CVORNCriterionItem& item);
/// `" count(*)"`, with the leading blank of every aggregate (see vornMin()).
VORN_API CVORNCriterionItem vornCount();
