// exportgen: expands the export list into everything that must agree with it.
//
//   exportgen <exports.list> <out-dir>
//
// writes into <out-dir>:
//   include/zspgen_api.h   public prototypes, included by zspgen.h, each family under its reference text
//   zspgen_x3.h            prototypes of the x3_ implementations, hidden
//   entry_stubs.S          per name: the slot <name>_arraddr and the forwarding entry <name>
//   zspgenx3.map           linker version script: the names global, everything else local
//   exported_names.txt     the names, one a line
//   size_dispatch.cpp      per name pattern that has a size-dispatch entry (the same name without _{N} or
//                          _{K}, taking the length or order as a parameter of that name): the entry and its
//                          table of kernels
//   export_ranges.h        the ranges of {N} and {K}, for the generators and their recipe tables
//   kernel_tables.h        per name pattern, the public kernels with their length or order, for tests and
//                          clients inside the project that iterate a family
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "gen/generated_file.h"

namespace {

struct Export {
  std::string returnType;
  std::string name;
  std::string params;  // with the parentheses
  std::string doc;     // the reference text of the "#:" lines before it, one line each, or empty
};

// A range of a name pattern, declared in the list as "{N} = 2..64 length": the token, its values, and the
// word that names it (the parameter of the size-dispatch entry, and the constants kFirst<Word>, kLast<Word>).
struct Range {
  std::string token;
  int first = 0, last = -1;
  std::string word;
};

// A name pattern over one range, as written in the list.
struct LengthPattern {
  std::string name;  // with the token
  Range range;
};

std::string trim(const std::string& s) {
  const auto b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

std::string replaceAll(std::string s, const std::string& what, const std::string& with) {
  for (size_t p = s.find(what); p != std::string::npos; p = s.find(what, p + with.size()))
    s.replace(p, what.size(), with);
  return s;
}

bool parsePrototype(const std::string& line, Export& e) {
  const auto open = line.find('(');
  if (open == std::string::npos || line.back() != ')') return false;
  const std::string head = trim(line.substr(0, open));
  const auto nameStart = head.find_last_of(" *");
  if (nameStart == std::string::npos) return false;
  e.name = head.substr(nameStart + 1);
  e.returnType = trim(head.substr(0, nameStart + 1));
  e.params = line.substr(open);
  return !e.name.empty() && !e.returnType.empty();
}

// The range whose token stands in `line`, or null.
const Range* rangeIn(const std::string& line, const std::vector<Range>& ranges) {
  for (const Range& r : ranges)
    if (line.find(r.token) != std::string::npos) return &r;
  return nullptr;
}

std::vector<std::string> expand(const std::string& line, const std::vector<Range>& ranges) {
  const Range* r = rangeIn(line, ranges);
  if (r == nullptr) return {line};
  std::vector<std::string> out;
  for (int v = r->first; v <= r->last; ++v) out.push_back(replaceAll(line, r->token, std::to_string(v)));
  return out;
}

// "{N} = 2..64 length"
bool parseRange(const std::string& line, Range& r) {
  char token[16], word[32];
  if (std::sscanf(line.c_str(), "%15s = %d..%d %31s", token, &r.first, &r.last, word) != 4) return false;
  r.token = token;
  r.word = word;
  return r.token.size() > 2 && r.token.front() == '{' && r.token.back() == '}' && r.first <= r.last;
}

std::string capitalized(std::string w) {
  if (!w.empty()) w[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(w[0])));
  return w;
}

// The parameter names of a parenthesised C parameter list.
std::vector<std::string> paramNames(const std::string& params) {
  std::vector<std::string> names;
  std::istringstream list(params.substr(1, params.size() - 2));
  for (std::string one; std::getline(list, one, ',');) {
    one = trim(one);
    const auto start = one.find_last_of(" *");
    names.push_back(start == std::string::npos ? one : one.substr(start + 1));
  }
  return names;
}

bool readExports(const char* path, std::vector<Export>& exports, std::vector<LengthPattern>& patterns,
                 std::vector<Range>& ranges) {
  std::ifstream in(path);
  if (!in) {
    std::cerr << "exportgen: cannot read " << path << "\n";
    return false;
  }
  std::string raw, doc;
  for (int lineNo = 1; std::getline(in, raw); ++lineNo) {
    const std::string line = trim(raw);
    if (line.rfind("#:", 0) == 0) {  // reference text, carried into the public header as a comment
      if (line.find("*/") != std::string::npos || line.find("/*") != std::string::npos) {
        std::cerr << path << ":" << lineNo << ": reference text must neither open nor close a comment\n";
        return false;
      }
      doc += line.substr(line.size() > 2 && line[2] == ' ' ? 3 : 2) + "\n";
      continue;
    }
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '{') {
      Range r;
      if (!parseRange(line, r)) {
        std::cerr << path << ":" << lineNo << ": not a range: " << line << "\n";
        return false;
      }
      ranges.push_back(r);
      continue;
    }
    Export pattern;
    if (const Range* r = rangeIn(line, ranges); r != nullptr && parsePrototype(line, pattern))
      patterns.push_back({pattern.name, *r});
    for (const std::string& one : expand(line, ranges)) {
      Export e;
      if (!parsePrototype(one, e)) {
        std::cerr << path << ":" << lineNo << ": not a prototype: " << line << "\n";
        return false;
      }
      e.doc = std::move(doc);
      doc.clear();
      exports.push_back(e);
    }
  }
  return true;
}

const char* kBanner = "Generated by exportgen from core/exports.list; do not edit.";

// The reference text of a family as a block comment that stands before its first prototype.
std::string docComment(const std::string& doc) {
  if (doc.empty()) return "";
  std::ostringstream o;
  std::istringstream lines(doc);
  o << "\n/*";
  for (std::string line; std::getline(lines, line);) o << "\n" << (line.empty() ? " *" : " * " + line);
  o << "\n */\n";
  return o.str();
}

std::string apiHeader(const std::vector<Export>& exports) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n#ifndef ZSPGEN_API_H\n#define ZSPGEN_API_H\n\n"
    << "#ifdef __cplusplus\nextern \"C\" {\n#endif\n\n";
  for (const Export& e : exports) o << docComment(e.doc) << e.returnType << " " << e.name << e.params << ";\n";
  o << "\n#ifdef __cplusplus\n}\n#endif\n\n#endif /* ZSPGEN_API_H */\n";
  return o.str();
}

std::string implHeader(const std::vector<Export>& exports) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n#ifndef ZSPGEN_X3_H\n#define ZSPGEN_X3_H\n\n#include \"zspgen.h\"\n\n"
    << "#ifdef __cplusplus\nextern \"C\" {\n#endif\n\n";
  for (const Export& e : exports)
    o << "__attribute__((visibility(\"hidden\"))) " << e.returnType << " x3_" << e.name << e.params << ";\n";
  o << "\n#ifdef __cplusplus\n}\n#endif\n\n#endif /* ZSPGEN_X3_H */\n";
  return o.str();
}

// Each entry is one indirect jump through its slot: no frame, arguments and stack as the caller left them.
std::string stubs(const std::vector<Export>& exports) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n\t.text\n";
  for (const Export& e : exports) {
    o << "\t.p2align 4\n\t.globl " << e.name << "\n\t.type " << e.name << ", @function\n"
      << e.name << ":\n\tjmp *" << e.name << "_arraddr(%rip)\n\t.size " << e.name << ", .-" << e.name << "\n";
  }
  o << "\n\t.data\n\t.p2align 3\n";
  for (const Export& e : exports) {
    o << "\t.type " << e.name << "_arraddr, @object\n\t.size " << e.name << "_arraddr, 8\n"
      << e.name << "_arraddr:\n\t.quad x3_" << e.name << "\n";
  }
  o << "\n\t.section .note.GNU-stack,\"\",@progbits\n";
  return o.str();
}

std::string versionScript(const std::vector<Export>& exports) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n{\n  global:\n";
  for (const Export& e : exports) o << "    " << e.name << ";\n";
  o << "  local:\n    *;\n};\n";
  return o.str();
}

std::string nameList(const std::vector<Export>& exports) {
  std::ostringstream o;
  for (const Export& e : exports) o << e.name << "\n";
  return o.str();
}

// The size-dispatch entries: one range test of the length or order, then a tail call through the table
// of the pattern's kernels, in order. A pattern has an entry where the list holds its name without the
// token; the entry takes the range's word as a parameter and passes the others on.
bool sizeDispatch(const std::vector<Export>& exports, const std::vector<LengthPattern>& patterns, std::string& text) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n#include \"core/dispatch.h\"\n#include \"zspgen_x3.h\"\n";
  for (const LengthPattern& p : patterns) {
    const Range& r = p.range;
    const std::string entryName = replaceAll(p.name, "_" + r.token, "");
    const Export *entry = nullptr, *first = nullptr;
    const std::string firstName = replaceAll(p.name, r.token, std::to_string(r.first));
    for (const Export& e : exports) {
      if (e.name == entryName) entry = &e;
      if (e.name == firstName) first = &e;
    }
    if (entry == nullptr) continue;
    std::vector<std::string> passed = paramNames(entry->params);
    const auto size = std::find(passed.begin(), passed.end(), r.word);
    if (size == passed.end()) {
      std::cerr << "exportgen: " << entryName << " has no parameter named " << r.word << "\n";
      return false;
    }
    passed.erase(size);
    if (passed != paramNames(first->params)) {
      std::cerr << "exportgen: " << entryName << " does not take the parameters of " << firstName << "\n";
      return false;
    }
    const std::string table = "k" + entryName.substr(4);
    o << "\nnamespace {\ndecltype(&x3_" << firstName << ") const " << table << "[] = {";
    for (int n = r.first; n <= r.last; ++n)
      o << (n == r.first ? "" : ",") << "\n    x3_" << replaceAll(p.name, r.token, std::to_string(n));
    o << "};\n}  // namespace\n\nextern \"C\" " << entry->returnType << " x3_" << entryName << entry->params
      << " {\n  return zsp::dispatchBySize<" << r.first << ">(" << table << ", " << r.word;
    for (const std::string& name : passed) o << ", " << name;
    o << ");\n}\n";
  }
  text = o.str();
  return true;
}

// The ranges as constants: kFirstLength, kLastLength, kFirstOrder, ...
std::string rangesHeader(const std::vector<Range>& ranges) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n#ifndef ZSPGEN_EXPORT_RANGES_H\n#define ZSPGEN_EXPORT_RANGES_H\n\nnamespace zsp::exported {\n\n";
  for (const Range& r : ranges)
    o << "// " << r.token << "\ninline constexpr int kFirst" << capitalized(r.word) << " = " << r.first << ";\n"
      << "inline constexpr int kLast" << capitalized(r.word) << " = " << r.last << ";\n";
  o << "\n}  // namespace zsp::exported\n\n#endif /* ZSPGEN_EXPORT_RANGES_H */\n";
  return o.str();
}

// Per pattern, its public kernels with their length or order, in order: kDFTFwd_CToC_32fc, kWHT_64f, ...
std::string kernelTables(const std::vector<LengthPattern>& patterns) {
  std::ostringstream o;
  o << "/* " << kBanner << " */\n#ifndef ZSPGEN_KERNEL_TABLES_H\n#define ZSPGEN_KERNEL_TABLES_H\n\n"
    << "#include \"zspgen.h\"\n\nnamespace zsp::listed {\n\n"
    << "template <class Kernel>\nstruct Listed {\n  int size;  // the length or order\n  Kernel* kernel;\n  const char* name;\n};\n";
  for (const LengthPattern& p : patterns) {
    const Range& r = p.range;
    const std::string table = "k" + replaceAll(p.name, "_" + r.token, "").substr(4);
    o << "\ninline constexpr Listed<decltype(" << replaceAll(p.name, r.token, std::to_string(r.first)) << ")> " << table
      << "[] = {";
    for (int n = r.first; n <= r.last; ++n) {
      const std::string name = replaceAll(p.name, r.token, std::to_string(n));
      o << (n == r.first ? "" : ",") << "\n    {" << n << ", " << name << ", \"" << name << "\"}";
    }
    o << "};\n";
  }
  o << "\n}  // namespace zsp::listed\n\n#endif /* ZSPGEN_KERNEL_TABLES_H */\n";
  return o.str();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: exportgen <exports.list> <out-dir>\n";
    return 2;
  }
  std::vector<Export> exports;
  std::vector<LengthPattern> patterns;
  std::vector<Range> ranges;
  std::string dispatch;
  if (!readExports(argv[1], exports, patterns, ranges) || !sizeDispatch(exports, patterns, dispatch)) return 1;
  const std::string dir = argv[2];
  // Files are rewritten only when their content changed, so an unchanged list rebuilds nothing.
  using zspgen::writeIfChanged;
  const bool ok = writeIfChanged(dir + "/include/zspgen_api.h", apiHeader(exports)) &&
                  writeIfChanged(dir + "/zspgen_x3.h", implHeader(exports)) &&
                  writeIfChanged(dir + "/entry_stubs.S", stubs(exports)) &&
                  writeIfChanged(dir + "/zspgenx3.map", versionScript(exports)) &&
                  writeIfChanged(dir + "/exported_names.txt", nameList(exports)) &&
                  writeIfChanged(dir + "/size_dispatch.cpp", dispatch) &&
                  writeIfChanged(dir + "/export_ranges.h", rangesHeader(ranges)) &&
                  writeIfChanged(dir + "/kernel_tables.h", kernelTables(patterns));
  if (!ok) {
    std::cerr << "exportgen: cannot write into " << dir << "\n";
    return 1;
  }
  std::printf("exportgen: %zu exported names\n", exports.size());
  return 0;
}
