#include "common/process_name.h"

#include <fstream>

namespace dx7common {

std::string processName(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

}  // namespace dx7common
