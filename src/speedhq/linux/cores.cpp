#include "speedhq/cores.h"

#include <sched.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <utility>

namespace speedhq {

namespace {

int readNumber(const std::string& path, int otherwise) {
    int number = otherwise;
    std::ifstream(path) >> number;
    return number;
}

}  // namespace

int physicalCores() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
        return 1;
    }
    std::set<std::pair<int, int>> cores;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed)) {
            const std::string topology =
                "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
            cores.emplace(readNumber(topology + "physical_package_id", 0),
                          readNumber(topology + "core_id", cpu));
        }
    }
    return std::max(1, static_cast<int>(cores.size()));
}

}  // namespace speedhq
