// mime/nls/conversion_binding.cpp - the conversion component's entry points, bound at run time
#include "mime/nls/conversion_binding.hpp"

#include "mime/foundation/trace_site.hpp"
#include "mime/platform/library.hpp"
#include "mime/platform/platform.hpp"

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>

namespace vellum {

namespace {

constexpr char library_name[] = "Rwqfmp13.DLL";

constinit std::mutex binding_mutex;
constinit conversion::Entries entries{}; // written under the mutex, while `bound` is null
constinit std::atomic<conversion::Entries const *> bound{nullptr};

constexpr TraceSite site(unsigned long line) {
    return {trace_warning, "mime/nls/conversion_binding", line};
}

unsigned int last_error() { return static_cast<unsigned int>(platform::last_error()); }

/// Binds one entry point after the other, and goes on behind a missing one, so that the traces
/// tell of all.
class Binder {
public:
    explicit Binder(platform::Library library) : library_(library) {}

    template <typename Function>
    void bind(unsigned ordinal, char const * name, Function *& entry) {
        entry = reinterpret_cast<Function *>(library_.entry(ordinal));
        if (entry != nullptr) return;
        complete_ = false;
        trace(site(__LINE__), "DLL %s does not have an entry point %u(%s), rc=x%08X", library_name,
              ordinal, name, last_error());
    }

    template <typename Function>
    void bind_optional(unsigned ordinal, Function *& entry) {
        entry = reinterpret_cast<Function *>(library_.entry(ordinal));
    }

    bool complete() const { return complete_; }

private:
    platform::Library library_;
    bool complete_ = true;
};

bool bind_all(platform::Library library) {
    Binder binder(library);
    binder.bind(1700, "qxSTRGetTLBInfo", entries.qxSTRGetTLBInfo);
    binder.bind(1710, "qxSTRSetTLBPath", entries.qxSTRSetTLBPath);
    binder.bind(1660, "qxSTRCsidConv", entries.qxSTRCsidConv);
    binder.bind(1807, "qxSTRCsidConvExt", entries.qxSTRCsidConvExt);
    binder.bind(2, "qxSTROpenStrSession", entries.qxSTROpenStrSession);
    binder.bind(3, "qxSTRCloseStrSession", entries.qxSTRCloseStrSession);
    binder.bind(1110, "qxSTRCpyXlateX", entries.qxSTRCpyXlateX);
    binder.bind(1690, "qxSTRCpyXlateExt", entries.qxSTRCpyXlateExt);
    binder.bind(1870, "qxSTRMemAllocate", entries.qxSTRMemAllocate);
    binder.bind(1875, "qxSTRMemFree", entries.qxSTRMemFree);
    binder.bind(1510, "qxSTRSizeofNull", entries.qxSTRSizeofNull);
    binder.bind_optional(1691, entries.qxSTRCpyXlatePiece);
    if (!binder.complete()) entries = {};
    return binder.complete();
}

/// Tells the component where its table lies: in the working directory, in the notation that it
/// expects on every system.
void set_table_path() {
    conversion::TableInfo info{};
    entries.qxSTRGetTLBInfo(&info);
    std::string_view const name(info.file_name, sizeof info.file_name);
    std::string const path = ".\\" + std::string(name.substr(0, name.find('\0')));
    conversion::TablePath const record{path.c_str(), 0};
    entries.qxSTRSetTLBPath(&record, 1);
}

} // namespace

conversion::Entries const * bind_conversion() {
    std::lock_guard const lock(binding_mutex);
    if (bound != nullptr) return bound;
    platform::Library const library = platform::Library::load(library_name);
    if (!library) {
        trace(site(__LINE__), "Unable to load library %s, rc=x%08X", library_name, last_error());
        return nullptr;
    }
    if (!bind_all(library)) return nullptr;
    set_table_path();
    bound = &entries;
    return bound;
}

conversion::Entries const * bound_conversion() noexcept { return bound; }

void unbind_conversion() noexcept {
    std::lock_guard const lock(binding_mutex);
    bound = nullptr;
    entries = {};
}

} // namespace vellum
