// The statement model's rules: the base's own bodies and table list, the raw
// statement, tables, columns, the NULL marker and the escaping of literals.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "render_case.h"
#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/sqlite_util.h"

namespace {

// Calls the base's own bodies and shows its fields.
class BaseBodies : public CVORNBase {
  public:
    CVORNTable table(const std::string& name) override { return CVORNBase::table(name); }
    std::string toString() const override { return CVORNBase::toString(); }
    void clear() override { CVORNBase::clear(); }
    std::string fields() const {
        return m_table + "|" + m_attachSQL + "|" + m_detachSQL + "|" + m_tableList;
    }
    void frame() { m_attachSQL = m_detachSQL = "x"; }
};

TEST(StatementBase, BaseBodiesRecordTheTableRenderNothingAndClearOnlyTheTable) {
    BaseBodies base;
    EXPECT_EQ(base.table("alarm").getTableName(), "alarm");
    EXPECT_EQ(base.toString(), "");
    base.frame();
    base.constructAttachAndDetachSQL(CVORNTable("device"));
    EXPECT_EQ(base.fields(), "alarm|||device");
    base.clear();
    EXPECT_EQ(base.fields(), "|||device");
}

// The table list after names are recorded in order.
std::string tableList(const std::vector<std::string>& names) {
    BaseBodies base;
    for (const auto& name : names) {
        base.constructAttachAndDetachSQL(CVORNTable(name));
    }
    return base.fields();
}

std::string raw(const std::function<void(CVORNsqlstr&)>& calls) {
    CVORNsqlstr statement;
    calls(statement);
    return statement.toString();
}

std::string escape(const std::string& text) {
    return CSQLiteUtil::getInstance()->replaceSpecialChar(text);
}

std::string escape(char c) {
    return CSQLiteUtil::getInstance()->replaceSpecialChar(c);
}

struct TextRule {
    std::string name;
    std::function<std::string()> text;
    std::string expected;
};
VORN_PRINT_BY_NAME(TextRule);

// clang-format off
const TextRule kRules[] = {
    // Table list: a name contained in the list as it stands is not added again.
    {"ListRepeated", [] { return tableList({"alarm", "device", "alarm"}); }, "|||alarm,device"},
    {"ListContainedAfterLonger", [] { return tableList({"ab", "a"}); }, "|||ab"},
    {"ListLongerAfterContained", [] { return tableList({"a", "ab"}); }, "|||a,ab"},
    {"ListTaskAfterTaskinfo", [] { return tableList({"taskinfo", "task"}); }, "|||taskinfo"},
    {"ListEmptyNames", [] { return tableList({"", "alarm", ""}); }, "|||alarm"},
    {"ListQuote", [] { return tableList({"a", "o'x"}); }, "|||a,o'x"},
    // Raw statement: its text verbatim; table() and where() change nothing.
    {"RawNeverAssigned", [] { return raw([](CVORNsqlstr&) {}); }, ""},
    {"RawVerbatim", [] { return raw([](CVORNsqlstr& r) { r.assign("  it's ;  "); }); }, "  it's ;  "},
    {"RawEmpty", [] { return raw([](CVORNsqlstr& r) { r.assign("x"); r.assign(""); }); }, ""},
    {"RawTableAndWhereIgnored", [] { return raw([](CVORNsqlstr& r) { r.assign("select 1");
         r.table("t"); r.where(CVORNCriterion("(a=1)")); }); }, "select 1"},
    {"RawCleared", [] { return raw([](CVORNsqlstr& r) { r.assign("select 1"); r.clear(); }); }, ""},
    // Columns: qualified only with a table name, never escaped.
    {"ColumnText", [] { return CVORNColumn("alarm", "level").toString(); }, "alarm.level"},
    {"ColumnName", [] { return CVORNColumn("alarm", "level").getColumnName(); }, ".level"},
    {"ColumnTextNoTable", [] { return CVORNColumn("", "x").toString(); }, ""},
    {"ColumnNameNoTable", [] { return CVORNColumn("", "x").getColumnName(); }, ""},
    {"ColumnTextEmptyName", [] { return CVORNColumn("t", "").toString(); }, "t."},
    {"ColumnTextQuote", [] { return CVORNColumn("o'x", "a'b").toString(); }, "o'x.a'b"},
    {"TableColumnQuote", [] { return CVORNTable("t").column("o'x").toString(); }, "t.o'x"},
    {"TableName", [] { return CVORNTable("o'x").getTableName(); }, "o'x"},
    // A table's operand: the column's quotes doubled, the table's not.
    {"OperandQualified", [] { return CVORNTable("alarm")["level"].toString(); }, "alarm.level"},
    {"OperandColumnQuote", [] { return CVORNTable("alarm")["it's"].toString(); }, "alarm.it''s"},
    {"OperandTableQuote", [] { return CVORNTable("a'b")["c"].toString(); }, "a'b.c"},
    {"OperandNoTable", [] { return CVORNTable("")["x"].toString(); }, ""},
    {"OperandEmptyColumn", [] { return CVORNTable("t")[""].toString(); }, "t."},
    // Escaping: single quotes doubled, nothing else changed.
    {"EscapeQuoteChar", [] { return escape('\''); }, "''"},
    {"EscapeChar", [] { return escape('a'); }, "a"},
    {"EscapeNulChar", [] { return escape('\0'); }, std::string(1, '\0')},
    {"EscapeText", [] { return escape("it's ''"); }, "it''s ''''"},
    {"EscapeOtherSpecials", [] { return escape("a\"b\\c%_"); }, "a\"b\\c%_"},
    {"EscapeEmpty", [] { return escape(""); }, ""},
    {"NullIsFalse", [] { return std::string(static_cast<bool>(CVORNNull()) ? "true" : "false"); },
     "false"},
};
// clang-format on

class StatementModel : public ::testing::TestWithParam<TextRule> {};

TEST_P(StatementModel, GivesTheExactText) {
    EXPECT_EQ(GetParam().text(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rules, StatementModel, ::testing::ValuesIn(kRules),
                         vorn::test::CaseName());

}  // namespace
