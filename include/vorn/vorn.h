#pragma once

/// @file
/// @brief Includes every public header of VORNLib.
///
/// The whole public interface of VORNLib. The bounds-checked C functions, the
/// string helpers and the type registry of vorn/platform are the library's own
/// helpers: they are neither part of it nor installed.
#include "vorn/base.h"
#include "vorn/batch_inserter.h"
#include "vorn/bound_statement.h"
#include "vorn/connections.h"
#include "vorn/criterion.h"
#include "vorn/database.h"
#include "vorn/datasource.h"
#include "vorn/deadline.h"
#include "vorn/deleter.h"
#include "vorn/diagnostics.h"
#include "vorn/droper.h"
#include "vorn/export.h"
#include "vorn/inserter.h"
#include "vorn/keywords.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/logger.h"
#include "vorn/platform/process.h"
#include "vorn/platform/typed_ref.h"
#include "vorn/reader.h"
#include "vorn/selector.h"
#include "vorn/sqlite_util.h"
#include "vorn/transaction.h"
#include "vorn/updater.h"
#include "vorn/version.h"

/// @namespace vorn
/// @brief The library's interface beyond the statement classes: bound
/// statements, data sources, connections, diagnostics and the version.

/// @namespace vorn::platform
/// @brief The data-access layer under the database objects, its error codes,
/// the log and the process identifier.
