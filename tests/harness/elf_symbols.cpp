#include "elf_symbols.h"

#include <dlfcn.h>
#include <elf.h>

#include <fstream>
#include <stdexcept>
#include <vector>

namespace zsp::test {

uintptr_t LibrarySymbols::address(const std::string& name) const {
  const auto it = value.find(name);
  return it == value.end() ? 0 : loadBase + it->second;
}

LibrarySymbols symbolsOfLibraryContaining(const void* anyFunctionInIt) {
  Dl_info info{};
  if (dladdr(anyFunctionInIt, &info) == 0) throw std::runtime_error("dladdr failed");
  LibrarySymbols lib;
  lib.path = info.dli_fname;
  lib.loadBase = reinterpret_cast<uintptr_t>(info.dli_fbase);

  // One read of the whole file: the instrumented builds' library is near 90 MB, which a character at a
  // time took seconds to read under the sanitizers.
  std::ifstream in(lib.path, std::ios::binary | std::ios::ate);
  const std::streamoff length = in ? static_cast<std::streamoff>(in.tellg()) : -1;
  std::vector<char> file(length > 0 ? static_cast<size_t>(length) : 0);
  in.seekg(0);
  if (file.size() < sizeof(Elf64_Ehdr) || !in.read(file.data(), length)) throw std::runtime_error("cannot read " + lib.path);
  const auto* eh = reinterpret_cast<const Elf64_Ehdr*>(file.data());
  const auto* sections = reinterpret_cast<const Elf64_Shdr*>(file.data() + eh->e_shoff);
  for (int s = 0; s < eh->e_shnum; ++s) {
    if (sections[s].sh_type != SHT_SYMTAB) continue;
    const Elf64_Shdr& strings = sections[sections[s].sh_link];
    const auto* syms = reinterpret_cast<const Elf64_Sym*>(file.data() + sections[s].sh_offset);
    const size_t count = sections[s].sh_size / sizeof(Elf64_Sym);
    for (size_t i = 0; i < count; ++i) {
      if (syms[i].st_name == 0 || syms[i].st_shndx == SHN_UNDEF) continue;
      const std::string name = file.data() + strings.sh_offset + syms[i].st_name;
      lib.value[name] = syms[i].st_value;
      lib.size[name] = syms[i].st_size;
    }
  }
  return lib;
}

}  // namespace zsp::test
