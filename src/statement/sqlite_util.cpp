#include "vorn/sqlite_util.h"

#include <ace/Guard_T.h>
#include <ace/Semaphore.h>

#include "exec/platform/string_helpers.h"

// Load-time initialisation, in definition order: first the instance, then the
// semaphore (ACE's defaults: count 1, thread scope, unnamed, maximum
// 2147483647). The instance is never deleted; it lives until the process exits.
CSQLiteUtil* CSQLiteUtil::m_instance = new CSQLiteUtil();
ACE_Semaphore CSQLiteUtil::m_instanceMutex;

CSQLiteUtil* CSQLiteUtil::getInstance() {
    // Only a call made before this file's load-time initialisation finds no
    // instance and takes the lock.
    if (m_instance == nullptr) {
        ACE_Guard<ACE_Semaphore> guard(m_instanceMutex);
        if (m_instance == nullptr) {
            m_instance = new CSQLiteUtil();
        }
    }
    return m_instance;
}

std::string CSQLiteUtil::replaceSpecialChar(const std::string& text) {
    return vorn::platform::escapeSingleQuotes(text);
}

std::string CSQLiteUtil::replaceSpecialChar(const char& c) {
    if (c == '\'') {
        return std::string(2, '\'');
    }
    return std::string(1, c);
}
