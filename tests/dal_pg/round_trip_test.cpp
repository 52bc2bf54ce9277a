// Values written with SQL and read back as text.
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "pg_fixture.h"

namespace vorn::test {
namespace {

class PgRoundTrip : public PgTest {};

// The text of one value of each kind, as the reader receives it.
TEST_F(PgRoundTrip, FieldsArriveInTheirTextForm) {
    const struct {
        const char* expression;
        const char* text;
    } cases[] = {
        {"true", "true"},  // not PostgreSQL's "t": the reader's int extraction knows "true"
        {"false", "false"},
        {"null::boolean", ""},
        {"null::integer", ""},
        {"null::text", ""},
        {"''::text", ""},  // the empty text and NULL read alike
        {"' '::text", " "},
        {"-5::int4", "-5"},
        {"9223372036854775807::int8", "9223372036854775807"},
        {"(-9223372036854775807 - 1)::int8", "-9223372036854775808"},
        {"0.1::float8", "0.1"},
        {"0.1::float4", "0.1"},
        {"12.50::numeric", "12.50"},
        {"'h\xC3\xA9 \xE2\x82\xAC'::text", "h\xC3\xA9 \xE2\x82\xAC"},
        {"'it''s'::text", "it's"},
        {"'2024-02-29'::date", "2024-02-29"},
        {"array[true, false]", "{t,f}"},  // only plain booleans are spelled out
    };
    for (const auto& c : cases) {
        EXPECT_EQ(query(m_session, std::string("select ") + c.expression), (Rows{{c.text}}))
            << c.expression;
    }
}

TEST_F(PgRoundTrip, WrittenRowsReadBackWithNullsBooleansAndNumbers) {
    const std::string t = freshTable(
        "", "id int8 primary key, flag boolean, small int4, big int8, r real, d float8, s text");
    ASSERT_TRUE(run(m_session, "insert into " + t +
                                   " values (1, true, -5, 9223372036854775807, 0.1, 0.1, 'one'),"
                                   " (2, false, null, -1, null, -0.5, ''),"
                                   " (3, null, 0, null, -3.5, null, null)")
                    .ok());
    EXPECT_EQ(all(t), (Rows{{"1", "true", "-5", "9223372036854775807", "0.1", "0.1", "one"},
                            {"2", "false", "", "-1", "", "-0.5", ""},
                            {"3", "", "0", "", "-3.5", "", ""}}));
}

TEST_F(PgRoundTrip, DoublesAndFloatsReadBackExactly) {
    const std::string t = freshTable("", "id int8, d float8, f float4");
    const double doubles[] = {0.1,
                              1.0 / 3,
                              DBL_MAX,
                              DBL_MIN,
                              5e-324 /* denormal */,
                              -2.5e-310,
                              1e300,
                              123456789.123456789,
                              -0.0};
    const float floats[] = {0.1F,      1.0F / 3, FLT_MAX,     FLT_MIN, FLT_TRUE_MIN,
                            -2.5e-40F, 1e30F,    123456.789F, -0.0F};
    for (std::size_t i = 0; i < std::size(doubles); ++i) {
        char sql[200];
        const int written =
            std::snprintf(sql, sizeof sql, "insert into %s values (%zu, '%.17g', '%.9g')",
                          t.c_str(), i, doubles[i], static_cast<double>(floats[i]));
        ASSERT_GT(written, 0);
        ASSERT_TRUE(run(m_session, sql).ok()) << sql;
    }
    const Rows rows = all(t);
    ASSERT_EQ(rows.size(), std::size(doubles));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(std::strtod(rows[i][1].c_str(), nullptr), doubles[i]) << rows[i][1];
        EXPECT_EQ(std::signbit(std::strtod(rows[i][1].c_str(), nullptr)), std::signbit(doubles[i]))
            << rows[i][1];
        EXPECT_EQ(static_cast<float>(std::strtod(rows[i][2].c_str(), nullptr)), floats[i])
            << rows[i][2];
    }
}

TEST_F(PgRoundTrip, BothSchemeSpellingsReachTheServer) {
    const std::string rest = m_url.substr(m_url.find("://"));
    for (const char* scheme : {"postgresql", "postgres", "PostgreSQL"}) {
        ASSERT_EQ(bindDataSource(m_session, scheme + rest), 0U) << scheme;
        EXPECT_EQ(query(m_session, "select 1 + 1"), (Rows{{"2"}})) << scheme;
    }
}

}  // namespace
}  // namespace vorn::test
