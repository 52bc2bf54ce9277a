#pragma once

// Resident memory of this process, from /proc/self/status (Linux).
#include <fstream>
#include <string>

namespace vorn::bench {

// A "Vm..." field of /proc/self/status in KiB, or -1.
inline long statusKiB(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::string prefix = std::string(field) + ":";
    while (std::getline(status, line)) {
        if (line.rfind(prefix, 0) == 0) {
            return std::stol(line.substr(prefix.size()));
        }
    }
    return -1;
}

// Resets the peak resident size (VmHWM) to the current one.
inline void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

}  // namespace vorn::bench
