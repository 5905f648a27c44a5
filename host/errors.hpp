// The host's own errors and its message catalogue. Internal to the host.
#pragma once

#include <string>

#include "module/host_interface.hpp"

namespace vlhost::detail {

// Raises the host error VELTRA:<key>, with one text argument when given.
[[noreturn]] void raiseHostError(const char* key, const std::string* argument = nullptr);
[[noreturn]] inline void raiseHostError(const char* key, const std::string& argument) {
    raiseHostError(key, &argument);
}

// The catalogue text of an identifier, with its arguments put in.
std::string catalogueText(const resource_core::BaseMsgID& id);
bool catalogueHas(const std::string& identifier);

}  // namespace vlhost::detail
