// Reads the local symbols of the built library (slots, implementations, the start-up flag), which the
// dynamic symbol table does not show, and turns them into run-time addresses.
#ifndef ZSPGEN_TESTS_ELF_SYMBOLS_H
#define ZSPGEN_TESTS_ELF_SYMBOLS_H

#include <cstdint>
#include <map>
#include <string>

namespace zsp::test {

struct LibrarySymbols {
  std::string path;                       // the file the library was loaded from
  uintptr_t loadBase = 0;                 // where it is mapped
  std::map<std::string, uint64_t> value;  // every .symtab symbol with its address in the file
  std::map<std::string, uint64_t> size;   // and its size in bytes

  // Run-time address of a symbol, or 0 if the file has no such symbol.
  uintptr_t address(const std::string& name) const;
};

// Symbols of the shared object that contains `anyFunctionInIt`.
LibrarySymbols symbolsOfLibraryContaining(const void* anyFunctionInIt);

}  // namespace zsp::test

#endif  // ZSPGEN_TESTS_ELF_SYMBOLS_H
