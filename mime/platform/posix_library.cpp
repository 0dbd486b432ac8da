// mime/platform/posix_library.cpp - finds and loads a component's shared library on POSIX systems
//
// Trap: what is loaded is run. So the search follows neither the name of the running program (its
//       first argument), which is the caller's choice, nor a name that is relative to the working
//       directory, and looks into no directory where others can put a file: a program that lies in
//       /tmp has no such directory beside it.
#include "mime/platform/library.hpp"

#include "mime/foundation/ascii.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace vellum::platform {

namespace {

std::atomic<Loader> test_loader{nullptr};

struct Free {
    void operator()(char * memory) const { std::free(memory); }
};
struct Close {
    void operator()(void * library) const { ::dlclose(library); }
};

/// "librwqfmp13.so" for "Rwqfmp13.DLL".
std::string shared_object_name(std::string_view file_name) {
    std::string name = "lib";
    for (char const c : file_name.substr(0, file_name.rfind('.'))) {
        name += ascii::to_lower(c);
    }
    return name + ".so";
}

/// The file that an address of code was loaded from, as the loader names it; "" for the program.
struct CodeFile {
    std::uintptr_t address;
    std::string path;
};

int look_at_object(::dl_phdr_info * object, std::size_t, void * wanted) {
    auto & file = *static_cast<CodeFile *>(wanted);
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        auto const & segment = object->dlpi_phdr[i];
        std::uintptr_t const begin = object->dlpi_addr + segment.p_vaddr;
        if (segment.p_type != PT_LOAD || file.address - begin >= segment.p_memsz) continue;
        file.path = object->dlpi_name;
        return 1;
    }
    return 0;
}

std::string_view directory_of(std::string_view path) {
    return path.substr(0, path.rfind('/') + 1); // with the "/"
}

/// The same for a library that was loaded by a relative name: the working directory may have
/// changed since, but the loader knows where the library came from. "" if it doesn't.
std::string absolute_path(std::string const & path) {
    std::unique_ptr<void, Close> const self(::dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    std::array<char, 2 * PATH_MAX> origin;
    if (!self || ::dlinfo(self.get(), RTLD_DI_ORIGIN, origin.data()) != 0) return {};
    return origin.data() + ('/' + path.substr(directory_of(path).size()));
}

/// The file that holds this code, with all links resolved; "" if it isn't known.
std::string file_of_engine() {
    CodeFile file{reinterpret_cast<std::uintptr_t>(&look_at_object), {}};
    ::dl_iterate_phdr(&look_at_object, &file);
    std::string path = file.path.empty() ? "/proc/self/exe" : file.path;
    if (path.front() != '/') path = absolute_path(path);
    std::unique_ptr<char, Free> const resolved(::realpath(path.c_str(), nullptr));
    return resolved ? resolved.get() : "";
}

/// Whether nobody puts a file there but those who have the machine, the process or the engine.
bool is_safe(std::string const & directory, std::string const & engine) {
    struct ::stat there {};
    struct ::stat own {};
    if (::stat(directory.c_str(), &there) != 0 || ::stat(engine.c_str(), &own) != 0) return false;
    bool const is_owned =
        there.st_uid == 0 || there.st_uid == ::geteuid() || there.st_uid == own.st_uid;
    return is_owned && (there.st_mode & S_IWOTH) == 0;
}

/// Whether the system's search follows the user's list of directories into the working directory,
/// by an element that is relative or empty.
bool searches_working_directory() {
    char const * const list = std::getenv("LD_LIBRARY_PATH");
    if (list == nullptr || *list == '\0') return false;
    bool begins = true;
    for (char const * c = list; *c != '\0'; ++c) {
        if (begins && *c != '/') return true;
        begins = *c == ':' || *c == ';';
    }
    return begins;
}

OrdinalEntry const * open_component(std::string const & path) {
    void * const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return nullptr;
    return static_cast<OrdinalEntry const *>(::dlsym(handle, ordinal_table_name));
}

OrdinalEntry const * find_component(std::string_view file_name) {
    std::string const name = shared_object_name(file_name);
    std::string const engine = file_of_engine();
    for (char const * const place : {"", "../lib/"}) {
        std::string const directory = std::string(directory_of(engine)) + place;
        if (!is_safe(directory, engine)) continue;
        if (auto const * const entries = open_component(directory + name)) return entries;
    }
    return searches_working_directory() ? nullptr : open_component(name);
}

OrdinalEntry const * find_table(char const * file_name) noexcept {
    if (Loader const loader = test_loader.load()) return loader(file_name);
    try {
        return find_component(file_name);
    } catch (std::bad_alloc const &) {
        return nullptr;
    }
}

} // namespace

Library Library::load(char const * file_name) noexcept {
    Library const library(find_table(file_name));
    if (!library) errno = ENOENT;
    return library;
}

EntryPoint Library::entry(unsigned ordinal) const noexcept {
    for (OrdinalEntry const * row = entries_; row != nullptr && row->entry != nullptr; ++row) {
        if (row->ordinal == ordinal) return row->entry;
    }
    errno = ENOSYS;
    return nullptr;
}

Loader set_loader(Loader loader) noexcept { return test_loader.exchange(loader); }

} // namespace vellum::platform
