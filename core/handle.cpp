#include "core/handle.h"

#include <cxxabi.h>
#include <cstdlib>
#include <memory>

namespace xtalmotif::detail {

std::string demangled_type_name(const std::type_info& info) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(info.name(), nullptr, nullptr, &status), std::free);
  return status == 0 && name ? std::string(name.get()) : std::string(info.name());
}

} // namespace xtalmotif::detail
