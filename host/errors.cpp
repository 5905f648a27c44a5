// The host's exception library, its own errors, and the warning channel.
#include "host/errors.hpp"

#include <cstdio>
#include <exception>
#include <new>

#include "host/call_frame.hpp"
#include "host/embed.hpp"

namespace foundation::core::except {

IException::~IException() = default;

const char* IException::what() const noexcept { return "host error"; }

std::u16string IUserException::convert_str(const std::string& text) const {
    return std::u16string(text.begin(), text.end());
}

std::string IUserException::convert_str(const std::u16string& text) const {
    return fl::i18n::converter<char, char16_t>::convert(text.data(), text.size());
}

std::u16string IUserException::ToUstringImpl() const { return convert_str(std::string(what())); }

const char* IMsgIDException::what() const noexcept {
    try {
        if (whatText_.empty()) whatText_ = vlhost::detail::catalogueText(*GetMsgID());
        return whatText_.c_str();
    } catch (...) {
        return "host error";
    }
}

std::u16string IMsgIDException::ToUstringImpl() const { return GetUnicodeMessageTxt(); }

std::u16string IMsgIDException::GetUnicodeMessageTxt() const { return convert_str(std::string(what())); }

std::string IMsgIDException::get_error_id(const resource_core::BaseMsgID& id) {
    return id.component + ":" + id.key;
}

OutOfMemory bad_alloc() { return {}; }

namespace detail {
void legacy(const OutOfMemory&) { vlhost::detail::raiseHostError("nomem"); }
}  // namespace detail

}  // namespace foundation::core::except

namespace vlhost::detail {

namespace {

class HostMsgException final : public foundation::core::except::IMsgIDException, public std::exception {
public:
    explicit HostMsgException(resource_core::BaseMsgID id)
        : id_(std::move(id)), identifier_(get_error_id(id_)) {}
    const char* what() const noexcept override { return IMsgIDException::what(); }
    std::string GetErrorIdentifier() const override { return identifier_; }
    const resource_core::BaseMsgID* GetMsgID() const override { return &id_; }

private:
    resource_core::BaseMsgID id_;
    std::string identifier_;
};

}  // namespace

void raiseHostError(const char* key, const std::string* argument) {
    resource_core::BaseMsgID id{{}, "VELTRA", key};
    if (argument) id.arguments.emplace_back(*argument);
    throw HostMsgException(std::move(id));
}

}  // namespace vlhost::detail

namespace matrix::detail {

void error_maxlhs() { vlhost::detail::raiseHostError("maxlhs"); }
void error_maxrhs() { vlhost::detail::raiseHostError("maxrhs"); }
void error_minrhs() { vlhost::detail::raiseHostError("minrhs"); }

// The host takes errors over at the throw; this host lets the library throw them.
void do_legacy_vx_error(const foundation::core::except::IUserException&) {}

}  // namespace matrix::detail

void vxWarningMsgId(const resource_core::BaseMsgID& id) {
    std::string identifier = foundation::core::except::IMsgIDException::get_error_id(id);
    std::string text = vlhost::detail::catalogueText(id);
    if (vlhost::detail::CallFrame* frame = vlhost::detail::currentFrame())
        frame->warnings.push_back({id, std::move(identifier), std::move(text)});
    else
        std::fprintf(stderr, "Warning: %s [%s]\n", text.c_str(), identifier.c_str());
}

namespace vlhost {

HostError::HostError(std::string identifier_, std::string component_, std::string key_,
                     std::vector<std::string> arguments_, const std::string& message)
    : std::runtime_error(message),
      identifier(std::move(identifier_)),
      component(std::move(component_)),
      key(std::move(key_)),
      arguments(std::move(arguments_)) {}

}  // namespace vlhost
