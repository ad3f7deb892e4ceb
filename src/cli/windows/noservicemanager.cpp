#include "cli/platform.h"

namespace cli {

ServiceManager::ServiceManager() = default;
ServiceManager::~ServiceManager() = default;
void ServiceManager::tell(const std::string& /*state*/) const {}

}  // namespace cli
