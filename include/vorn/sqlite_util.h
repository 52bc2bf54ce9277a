#pragma once

/// @file
/// @brief CSQLiteUtil: the process-wide escaping of single quotes.

#include <string>

#include "vorn/export.h"

class ACE_Semaphore;

/// Process-wide escaping of single quotes for SQL string literals. The instance
/// is created when the library is loaded and lives until the process exits.
class VORN_API CSQLiteUtil {
  public:
    /// The one instance; never null, never to be deleted.
    static CSQLiteUtil* getInstance();

    /// The text with every single quote doubled and nothing else changed.
    std::string replaceSpecialChar(const std::string& text);
    /// ``"''"`` for a single quote, otherwise the one-character string holding c
    /// (a NUL byte included).
    std::string replaceSpecialChar(const char& c);

  private:
    CSQLiteUtil() = default;

    VORN_LOCAL static CSQLiteUtil* m_instance;
    // Guards the creation of m_instance for calls made before the library's
    // load-time initialisation has run.
    VORN_LOCAL static ACE_Semaphore m_instanceMutex;
};
