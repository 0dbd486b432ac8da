# cmake/CompileSettings.cmake - warnings and sanitizers for all targets of the project

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# clang counts changes of sign among -Wconversion, g++ doesn't; the house rule is g++'s. At -O1 g++
# takes a std::optional that was tested before for uninitialized, and g++ 12 does so at -O3 too.
# There it also takes std::string's own code for a copy onto itself (bug 105329, mended in 13).
add_library(vellum_warnings INTERFACE)
target_compile_options(vellum_warnings INTERFACE
    "$<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion>"
    $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wno-sign-conversion>
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<NOT:$<CONFIG:Debug>>>:-Wno-restrict>
    $<$<CXX_COMPILER_ID:MSVC>:/W4>)
if(VELLUM_WERROR)
    target_compile_options(vellum_warnings INTERFACE
        $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()

if(VELLUM_SANITIZE)
    add_compile_options(-fsanitize=${VELLUM_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VELLUM_SANITIZE})
endif()
if(VELLUM_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
