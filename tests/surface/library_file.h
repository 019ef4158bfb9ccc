/// \file
/// What a shared library's file says about itself: its exported symbols and the libraries it needs.
#ifndef DX7_TESTS_SURFACE_LIBRARY_FILE_H
#define DX7_TESTS_SURFACE_LIBRARY_FILE_H

#include <string>
#include <vector>

struct LibraryFile {
    /// Names of the defined dynamic symbols, sorted.
    std::vector<std::string> exports;
    /// Those of them that are functions, sorted.
    std::vector<std::string> functions;
    /// Those that would bind process-wide, whatever the load flags.
    std::vector<std::string> uniqueSymbols;
    /// Names of the libraries it asks the loader for, in order.
    std::vector<std::string> needed;
    /// Why the file could not be read; empty when it could.
    std::string problem;
};

/// Reads the ELF file at `path`, which must be of this machine's own word size.
LibraryFile readLibraryFile(const std::string& path);

#endif
