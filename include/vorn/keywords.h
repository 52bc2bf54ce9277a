#pragma once

#include <string_view>

// Fixed texts of the library. The SQL fragments carry their own blanks and the
// builders concatenate them without adding any, so uneven spacing such as
// "select  *  from t" is part of the rendered output.
namespace vorn {

namespace dbname {
inline constexpr std::string_view kTaskDB = "TaskDB";
inline constexpr std::string_view kDevInfoDB = "DevInfoDB";
inline constexpr std::string_view kLogInfoDB = "LogInfoDB";
inline constexpr std::string_view kAutoUpgradeDB = "AutoUpgradeDB";
inline constexpr std::string_view kSAMDB = "SAMDB";
// A second name for the device-information store; it has the same value on purpose.
inline constexpr std::string_view kDevInfoDBAlias = "DevInfoDB";
inline constexpr std::string_view kSettingInfoDB = "SettingInfoDB";
}  // namespace dbname

namespace sql {
inline constexpr std::string_view kDistinct = "distinct ";
inline constexpr std::string_view kOrderBy = " order by ";
inline constexpr std::string_view kSelect = "select ";
inline constexpr std::string_view kInsertInto = "insert into ";
inline constexpr std::string_view kValues = " values(";
inline constexpr std::string_view kUpdate = "update ";
inline constexpr std::string_view kDeleteFrom = "delete from ";
inline constexpr std::string_view kWhere = " where ";
inline constexpr std::string_view kIn = " in ";
inline constexpr std::string_view kNotIn = " not in ";
inline constexpr std::string_view kAnd = " and ";
inline constexpr std::string_view kOr = " or ";
inline constexpr std::string_view kFrom = " from ";
inline constexpr std::string_view kSet = " set ";
inline constexpr std::string_view kCount = " count";
inline constexpr std::string_view kCountStar = " count(*) ";
inline constexpr std::string_view kStar = " * ";
inline constexpr std::string_view kDrop = "drop ";
inline constexpr std::string_view kTable = "table ";
inline constexpr std::string_view kView = "view ";
inline constexpr std::string_view kMin = " min";
inline constexpr std::string_view kMax = " max";
inline constexpr std::string_view kAvg = " avg ";
inline constexpr std::string_view kLike = " LIKE ";
inline constexpr std::string_view kDesc = " DESC";
inline constexpr std::string_view kLimit = " LIMIT ";
inline constexpr std::string_view kOffset = " OFFSET ";
}  // namespace sql

namespace text {
inline constexpr std::string_view kDbSuffix = ".db";
// The empty string.
inline constexpr std::string_view kEmpty{};
inline constexpr std::string_view kTRUE = "TRUE";
inline constexpr std::string_view kTrue = "true";
inline constexpr std::string_view kFALSE = "FALSE";
inline constexpr std::string_view kFalse = "false";
inline constexpr std::string_view kCallFunctionReturnError = "Call Function return Error:";
// Every log line the library writes starts with this tag, followed directly by the message.
inline constexpr std::string_view kLogTag = "[VORNLib]";
}  // namespace text

}  // namespace vorn
