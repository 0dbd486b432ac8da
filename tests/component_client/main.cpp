// tests/component_client/main.cpp - prints which conversion component an engine finds
//
//     component_client ENGINE DIRECTORY MODULE
//
// Loads the engine, goes to the directory, lets the module make a factory on it, and prints the
// path of the component that is loaded then. Prints nothing if there is none. Not linked with the
// engine, so that no path of the linker's leads to it.
#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

int fail(char const * what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

} // namespace

int main(int count, char ** arguments) {
    if (count != 4) return fail("component_client ENGINE DIRECTORY MODULE");
    if (dlopen(arguments[1], RTLD_NOW | RTLD_GLOBAL) == nullptr) return fail(dlerror());
    if (chdir(arguments[2]) != 0) return fail(arguments[2]);
    void * const module = dlopen(arguments[3], RTLD_NOW); // needs the engine, which is loaded
    if (module == nullptr) return fail(dlerror());
    auto * const make_factory = reinterpret_cast<void (*)()>(dlsym(module, "make_factory"));
    if (make_factory == nullptr) return fail(dlerror());
    make_factory();
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("rwqfmp13") == line.npos) continue;
        std::cout << line.substr(line.find('/')) << '\n';
        break;
    }
    return 0;
}
