// The thrown class, one instantiation per identifier tag, and the throwers.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include <boost/exception/exception.hpp>

#include "module/host_interface.hpp"
#include "module/message_ids.hpp"

namespace foundation::core::except {

template <class Key, class Base = std::exception, class Extra = void>
class Exception;

template <class Key>
class Exception<Key, std::exception, void> final : public IMsgIDException,
                                                    public boost::exception_detail::clone_base,
                                                    public boost::exception,
                                                    public std::exception {
public:
    explicit Exception(const resource_core::BaseMsgID& id) : IMsgIDException(), std::exception(), msgID_(id) {}
    Exception(const Exception&) = default;
    ~Exception() noexcept override = default;

    const boost::exception_detail::clone_base* clone() const override { return new Exception(*this); }
    void rethrow() const override { throw Exception(*this); }

    const char* what() const noexcept override { return IMsgIDException::what(); }
    std::string GetErrorIdentifier() const override { return identifier_; }
    const resource_core::BaseMsgID* GetMsgID() const override { return &msgID_; }

    void setIdentifier(std::string text) { identifier_ = std::move(text); }

private:
    resource_core::BaseMsgID msgID_;
    std::string identifier_;
};

}  // namespace foundation::core::except

namespace vlmathdsp {

template <class Key>
using MsgException = foundation::core::except::Exception<Key, std::exception, void>;

// Builds the exception, offers it to the host, and throws a copy if the host returns.
template <class Key>
[[noreturn]] void throwMsg(const resource_core::BaseMsgID& id) {
    static_assert(Key::isError, "a warning identifier is issued, not thrown");
    MsgException<Key> local(id);
    local.setIdentifier(foundation::core::except::IMsgIDException::get_error_id(id));
    matrix::detail::do_legacy_vx_error(local);
    throw MsgException<Key>(local);
}

template <class Key>
[[noreturn]] void raise() {
    throwMsg<Key>(makeMsgID<Key>());
}

template <class Key>
[[noreturn]] void raise(const char* text) {
    throwMsg<Key>(makeMsgID<Key>(text));
}

[[noreturn]] inline void raiseBadSubscript(const char* text) {
    throwMsg<VELTRA::legacy_two_part::badsubscript>(badsubscript(text));
}

template <class Key>
void warn() {
    static_assert(Key::isWarning, "an error identifier is thrown, not issued");
    vxWarningMsgId(makeMsgID<Key>());
}

// Counts first, in this order; each check ends the call.
inline void checkArgumentCounts(int nlhs, int maxLhs, int nrhs, int minRhs, int maxRhs) {
    if (nlhs > maxLhs) matrix::detail::error_maxlhs();
    if (nrhs > maxRhs) matrix::detail::error_maxrhs();
    if (nrhs < minRhs) matrix::detail::error_minrhs();
}

}  // namespace vlmathdsp
