#pragma once

/// @file
/// @brief The fixed texts of the library: store names, SQL fragments and other texts.
///
/// Fixed texts of the library. The SQL fragments carry their own blanks and the
/// builders concatenate them without adding any, so uneven spacing such as
/// `"select  *  from t"` is part of the rendered output.

#include <string_view>

namespace vorn {

/// Database names, as callers pass them to GuardDB.
namespace dbname {
inline constexpr std::string_view kTaskDB = "TaskDB";                ///< "TaskDB"
inline constexpr std::string_view kDevInfoDB = "DevInfoDB";          ///< "DevInfoDB"
inline constexpr std::string_view kLogInfoDB = "LogInfoDB";          ///< "LogInfoDB"
inline constexpr std::string_view kAutoUpgradeDB = "AutoUpgradeDB";  ///< "AutoUpgradeDB"
inline constexpr std::string_view kSAMDB = "SAMDB";                  ///< "SAMDB"
/// A second name for the device-information store; it has the same value on purpose.
inline constexpr std::string_view kDevInfoDBAlias = "DevInfoDB";
inline constexpr std::string_view kSettingInfoDB = "SettingInfoDB";  ///< "SettingInfoDB"
}  // namespace dbname

/// The SQL fragments the builders concatenate, blanks included.
namespace sql {
inline constexpr std::string_view kDistinct = "distinct ";       ///< `"distinct "`
inline constexpr std::string_view kOrderBy = " order by ";       ///< `" order by "`
inline constexpr std::string_view kSelect = "select ";           ///< `"select "`
inline constexpr std::string_view kInsertInto = "insert into ";  ///< `"insert into "`
inline constexpr std::string_view kValues = " values(";          ///< `" values("`
inline constexpr std::string_view kUpdate = "update ";           ///< `"update "`
inline constexpr std::string_view kDeleteFrom = "delete from ";  ///< `"delete from "`
inline constexpr std::string_view kWhere = " where ";            ///< `" where "`
inline constexpr std::string_view kIn = " in ";                  ///< `" in "`
inline constexpr std::string_view kNotIn = " not in ";           ///< `" not in "`
inline constexpr std::string_view kAnd = " and ";                ///< `" and "`
inline constexpr std::string_view kOr = " or ";                  ///< `" or "`
inline constexpr std::string_view kFrom = " from ";              ///< `" from "`
inline constexpr std::string_view kSet = " set ";                ///< `" set "`
inline constexpr std::string_view kCount = " count";             ///< `" count"`
/// `" count(*) "` (vornCount() writes `" count(*)"`).
inline constexpr std::string_view kCountStar = " count(*) ";
inline constexpr std::string_view kStar = " * ";         ///< `" * "`
inline constexpr std::string_view kDrop = "drop ";       ///< `"drop "`
inline constexpr std::string_view kTable = "table ";     ///< `"table "`
inline constexpr std::string_view kView = "view ";       ///< `"view "`
inline constexpr std::string_view kMin = " min";         ///< `" min"`
inline constexpr std::string_view kMax = " max";         ///< `" max"`
inline constexpr std::string_view kAvg = " avg ";        ///< `" avg "`
inline constexpr std::string_view kLike = " LIKE ";      ///< `" LIKE "`
inline constexpr std::string_view kDesc = " DESC";       ///< `" DESC"`
inline constexpr std::string_view kLimit = " LIMIT ";    ///< `" LIMIT "`
inline constexpr std::string_view kOffset = " OFFSET ";  ///< `" OFFSET "`
}  // namespace sql

/// Other fixed texts: the file suffix of the stores, the boolean words a reader
/// understands, and the texts of the log.
namespace text {
/// The file suffix of the default SQLite stores.
inline constexpr std::string_view kDbSuffix = ".db";
/// The empty string.
inline constexpr std::string_view kEmpty{};
inline constexpr std::string_view kTRUE = "TRUE";    ///< read as 1 by the int readers
inline constexpr std::string_view kTrue = "true";    ///< read as 1 by the int readers
inline constexpr std::string_view kFALSE = "FALSE";  ///< read as 0 by the int readers
inline constexpr std::string_view kFalse = "false";  ///< read as 0 by the int readers
/// A text for callers' own log lines; the library itself writes no line with it.
inline constexpr std::string_view kCallFunctionReturnError = "Call Function return Error:";
/// Every log line the library writes starts with this tag, followed directly by the message.
inline constexpr std::string_view kLogTag = "[VORNLib]";
}  // namespace text

}  // namespace vorn
