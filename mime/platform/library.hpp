// mime/platform/library.hpp - components that the engine loads at run time and calls by number
//
// Stands beside platform.hpp under the same rule: a port has its own source (posix_library.cpp).
#pragma once

#include "mime/ordinal_table.hpp"

namespace vellum::platform {

/// A loaded component. It is never unloaded, so a copy is as good as the original.
class Library {
public:
    /// Loads the component `file_name`, a name as on Windows ("Rwqfmp13.DLL"); on POSIX its file is
    /// called after it ("librwqfmp13.so"). It is looked for beside the file that holds the engine's
    /// code (the shared library, or the program that it is linked into), then in the `lib`
    /// directory beside that one, but in neither if anybody may write there or it is a stranger's;
    /// then where the system looks for libraries. No environment variable and no working directory
    /// has a say, but for the variables that the system's own search heeds; that search is left
    /// out where they lead it into the working directory. The first file that can be loaded and is
    /// a component counts.
    ///
    /// Without such a file the result is empty, and last_error() tells why.
    static Library load(char const * file_name) noexcept;

    explicit operator bool() const noexcept { return entries_ != nullptr; }

    /// The entry point under that number; null, with an error in last_error(), if there is no such
    /// number.
    EntryPoint entry(unsigned ordinal) const noexcept;

private:
    explicit Library(OrdinalEntry const * entries) noexcept : entries_(entries) {}

    OrdinalEntry const * entries_;
};

using Loader = OrdinalEntry const * (*)(char const * file_name);

/// For tests: from now on Library::load asks `loader` for the table, null for "not found"; a null
/// loader brings the files back. The result is the loader so far. The engine never calls this.
Loader set_loader(Loader loader) noexcept;

} // namespace vellum::platform
