// mime/ordinal_table.hpp - what a component exports that the engine loads at run time
//
// The engine calls a component by the numbers of its entry points. Where the system's own libraries
// know names alone, a component exports one table:
//
//     extern "C" VELLUM_EXPORT vellum::platform::OrdinalEntry const vellum_ordinals[] = {
//         {1700, ...}, ..., {0, nullptr}};
#pragma once

namespace vellum::platform {

using EntryPoint = void (*)();

/// An entry point under its number.
struct OrdinalEntry {
    unsigned ordinal;
    EntryPoint entry;
};

/// The table's name. Its last row has a null entry.
inline constexpr char ordinal_table_name[] = "vellum_ordinals";

} // namespace vellum::platform
