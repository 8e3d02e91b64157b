#include "variables/variable_registry.h"

namespace kovo {

std::unique_ptr<VariableRegistry> make_variable_registry() {
  auto registry = std::make_unique<VariableRegistry>();
  const MutexLock held(registry->registry_lock);
  registry->clients.push_back({Transport::kTcp, "127.0.0.1", 5127});
  return registry;
}

Clients copy_clients(const VariableRegistry& registry) {
  const MutexLock held(registry.registry_lock);
  return registry.clients;
}

}  // namespace kovo
