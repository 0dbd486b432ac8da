// mime/nls/conversion_interface.hpp - the entry points between the engine and a conversion
// component
//
// A component is a library of its own that the engine loads when the first NLS_qxStr_Factory is
// made. The engine calls it by ordinal and through nothing else, so any library that serves the
// entry points below, and exports them as ordinal_table.hpp tells, can take its place. The engine
// takes no lock: a component has to let several threads call it at once, on sessions of their own.
//
// A word is as large as a pointer.
#pragma once

#include "mime/ordinal_table.hpp"

#include <cstdint>
#include <string_view>

/// A component's number for a character set. A component may have any numbers; these few have a
/// meaning for the engine.
enum qxtSTRCharSettag : int {
    qxtSTR_none = -1,
    qxtSTR_US_ASCII = 31,
    qxtSTR_pivot = 160,            ///< between two sets of single-byte characters
    qxtSTR_multi_byte_pivot = 256, ///< between any two sets
    // 8, 9, 18, 24, 26, 27 and 32 to 40 are code pages that contain US-ASCII.
};

namespace vellum::conversion {

/// The component's account of its table of character sets. It begins with the NUL-terminated name
/// of the table's file.
struct TableInfo {
    char file_name[36];
};

struct TablePath {
    char const * path;
    std::uintptr_t reserved; ///< 0
};

/// The modes of qxSTRCsidConvExt.
inline constexpr int name_to_tag = 3;
inline constexpr int tag_to_name = 4;

/// The room that the engine has for a name, its NUL included.
inline constexpr int longest_name = 48;

/// In front of a name that names a set of the system's C library, in capitals: a component may have
/// many more of these than it would take a label of mail for.
inline constexpr std::string_view system_set_prefix = "system:";

/// The options of a translation: always `plain_translation`, and `library_buffer` with it if the
/// output buffer came from the component.
inline constexpr std::uintptr_t plain_translation = 0x4061;
inline constexpr std::uintptr_t library_buffer = 0x400;

struct Options {
    std::uintptr_t flags;
    std::uintptr_t reserved[3]; ///< 0
};

/// The outcome of a translation, all 0 at first.
struct Result {
    unsigned char * buffer; ///< a block of the component's that holds the output, for qxSTRMemFree;
                            ///< it may be the input's own block, which is freed once for each time
                            ///< that it was handed out. Null: the engine's buffer holds the output.
    std::uintptr_t reserved;
    std::uintptr_t produced; ///< the bytes of output, the target set's terminator among them if the
                             ///< component writes it
    std::uintptr_t more[6];
};

/// The entry points. Those that return an int return 0 for success.
struct Entries {
    int (*qxSTRGetTLBInfo)(TableInfo * info);
    int (*qxSTRSetTLBPath)(TablePath const * path, int count);
    /// The number of a code page. `one` is 1.
    int (*qxSTRCsidConv)(int * tag, unsigned long const * code_page, int one);
    /// The number of a name, or the name of a number, written to a buffer of `longest_name` bytes.
    int (*qxSTRCsidConvExt)(qxtSTRCharSettag * tag, char * name, int mode, int zero);
    /// A session for a set, in `session`. `country` is the address of an int, `language` a text.
    int (*qxSTROpenStrSession)(void ** session, void * country, void * language,
                               qxtSTRCharSettag tag);
    int (*qxSTRCloseStrSession)(void * session);
    int (*qxSTRCpyXlateX)(); ///< not called, but has to be there
    /// Translates the text at `in` from the set of one session to that of the other. The text is
    /// whole: it begins and ends in the initial shift state.
    int (*qxSTRCpyXlateExt)(void * target, void * source, unsigned char * out,
                            unsigned long capacity, unsigned char const * in,
                            unsigned long * in_length, Options const * options,
                            std::uintptr_t * zero, Result * result);
    int (*qxSTRMemAllocate)(unsigned long size, int zero, unsigned char ** block);
    int (*qxSTRMemFree)(unsigned char * block);
    /// The size in bytes of the terminator in the session's set.
    int (*qxSTRSizeofNull)(void * session, short * size);
    /// The only entry point that a component may lack: null then. Translates the next piece of a
    /// text, which may end anywhere, so that the results of all pieces are together the result of
    /// the whole text, without a terminator. The sessions keep what a piece leaves unfinished.
    /// `last` is 1 for the last piece, which may be empty, else 0. A session has one text that is
    /// read and one that is written at a time.
    int (*qxSTRCpyXlatePiece)(void * target, void * source, unsigned char * out,
                              unsigned long capacity, unsigned char const * in,
                              unsigned long in_length, int last, Result * result);
};

} // namespace vellum::conversion
