// The class system's packages: a tree of named packages holding named built-ins.
#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "host/embed.hpp"
#include "host/errors.hpp"

namespace vlhost::detail {

namespace {

struct Package final : vcos::COSPackage {
    std::string fullName;
    std::map<std::string, std::unique_ptr<Package>> children;
    std::map<std::string, vxBuiltin> functions;
    std::map<std::string, size_t> registrations;
};

std::mutex gPackagesMutex;
std::map<std::string, std::unique_ptr<Package>> gRoots;
std::atomic<bool> gUsingUSM{false};
std::atomic<int> gFailAfter{-1};

Package* child(std::map<std::string, std::unique_ptr<Package>>& map, const std::string& prefix, const char* name) {
    auto& slot = map[name];
    if (!slot) {
        slot = std::make_unique<Package>();
        slot->fullName = prefix.empty() ? name : prefix + "." + name;
    }
    return slot.get();
}

// Splits "a.b.c.f" into the package "a.b.c" and the function "f", and finds the package.
Package* packageOf(const std::string& fullName, std::string& function) {
    const size_t dot = fullName.rfind('.');
    if (dot == std::string::npos) return nullptr;
    function = fullName.substr(dot + 1);
    std::map<std::string, std::unique_ptr<Package>>* level = &gRoots;
    Package* p = nullptr;
    size_t start = 0;
    while (start <= dot) {
        const size_t end = fullName.find('.', start);
        auto it = level->find(fullName.substr(start, end - start));
        if (it == level->end()) return nullptr;
        p = it->second.get();
        level = &p->children;
        start = end + 1;
    }
    return p;
}

}  // namespace

}  // namespace vlhost::detail

using namespace vlhost::detail;

bool omGetVcosUsingUSM() { return gUsingUSM.load(); }

namespace vcos {

COSNameID::COSNameID(const char* name) : name_(name) {}
COSNameID::~COSNameID() = default;

void COSPackage::addFunction(const COSNameID& name, void (*fn)(int, vxArray**, int, const vxArray**)) {
    auto* self = static_cast<Package*>(this);
    int left = gFailAfter.load();
    while (left >= 0 && !gFailAfter.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0) raiseHostError("registrationFailed", self->fullName + "." + name.name());
    std::lock_guard<std::mutex> lock(gPackagesMutex);
    self->functions[name.name()] = fn;  // a name already present takes the new function
    ++self->registrations[name.name()];
}

COSPackage* omGetGlobalPackage(const char* name) {
    std::lock_guard<std::mutex> lock(gPackagesMutex);
    return child(gRoots, "", name);
}

COSPackage* omGetSubPackage(COSPackage* parent, const char* name) {
    auto* p = static_cast<Package*>(parent);
    std::lock_guard<std::mutex> lock(gPackagesMutex);
    return child(p->children, p->fullName, name);
}

}  // namespace vcos

namespace vlhost {

vxBuiltin findFunction(const std::string& fullName) {
    std::lock_guard<std::mutex> lock(gPackagesMutex);
    std::string function;
    Package* p = packageOf(fullName, function);
    if (!p) return nullptr;
    auto it = p->functions.find(function);
    return it == p->functions.end() ? nullptr : it->second;
}

size_t registrationCount(const std::string& fullName) {
    std::lock_guard<std::mutex> lock(gPackagesMutex);
    std::string function;
    Package* p = packageOf(fullName, function);
    if (!p) return 0;
    auto it = p->registrations.find(function);
    return it == p->registrations.end() ? 0 : it->second;
}

std::vector<std::string> packageFunctionNames() {
    std::lock_guard<std::mutex> lock(gPackagesMutex);
    std::vector<std::string> names;
    std::vector<const Package*> stack;
    for (const auto& r : gRoots) stack.push_back(r.second.get());
    while (!stack.empty()) {
        const Package* p = stack.back();
        stack.pop_back();
        for (const auto& f : p->functions) names.push_back(p->fullName + "." + f.first);
        for (const auto& c : p->children) stack.push_back(c.second.get());
    }
    return names;
}

void setVcosUsingUSM(bool answer) { gUsingUSM = answer; }

void failRegistrationAfter(int successes) { gFailAfter = successes; }

}  // namespace vlhost
