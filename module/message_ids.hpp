// Identifier tags, one empty type per message, and the records built from them.
#pragma once

#include "module/host_interface.hpp"

#define VELTRA_MSG(component_, key_, kind_)                                      \
    namespace VELTRA::component_ {                                               \
    struct key_ {                                                                \
        static constexpr const char* component = "VELTRA:" #component_;          \
        static constexpr const char* key = #key_;                                \
        static constexpr bool isWarning = (#kind_[0] != 'E');                    \
        static constexpr bool isError = (#kind_[0] != 'W');                      \
    };                                                                           \
    }
#include "module/message_ids.def"
#undef VELTRA_MSG

namespace vlmathdsp {

template <class Key>
resource_core::BaseMsgID makeMsgID() {
    return resource_core::BaseMsgID{{}, Key::component, Key::key};
}

// One text argument, stored as narrow text in argument 0.
template <class Key>
resource_core::BaseMsgID makeMsgID(const char* text) {
    resource_core::BaseMsgID id{std::vector<resource_core::MessageArgument>(1), Key::component,
                                Key::key};
    id.arguments[0] = std::string(text);
    return id;
}

inline resource_core::BaseMsgID badsubscript(const char* text) {
    return makeMsgID<VELTRA::legacy_two_part::badsubscript>(text);
}

}  // namespace vlmathdsp
