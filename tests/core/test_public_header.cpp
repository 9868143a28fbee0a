// What the public header promises beside the prototypes: its version macros match the library and the
// build, its status helper names every status it declares, and every exported family has reference
// text in the generated prototypes.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "zspgen.h"

namespace {

std::string readFile(const char* path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(PublicHeader, VersionMacrosMatchTheLibraryAndTheBuild) {
  const zspLibraryVersion* v = zspgenGetLibVersion();
  EXPECT_EQ(v->versionMajor, ZSPGEN_VERSION_MAJOR);
  EXPECT_EQ(v->versionMinor, ZSPGEN_VERSION_MINOR);
  EXPECT_EQ(v->versionPatch, ZSPGEN_VERSION_PATCH);
  const std::string macros = std::to_string(ZSPGEN_VERSION_MAJOR) + "." + std::to_string(ZSPGEN_VERSION_MINOR) +
                             "." + std::to_string(ZSPGEN_VERSION_PATCH);
  EXPECT_EQ(macros, ZSPGEN_PROJECT_VERSION) << "the header and the CMake project disagree";
  EXPECT_EQ(std::string(v->versionText).rfind(macros + " ", 0), 0u) << v->versionText;
}

// Every enumerator zspSts... of the header: the helper gives its name, and the status comment gives it
// a paragraph of its own.
TEST(PublicHeader, StatusTextNamesEveryDeclaredStatus) {
  const std::string header = readFile(ZSPGEN_PUBLIC_HEADER);
  ASSERT_FALSE(header.empty()) << "cannot read " ZSPGEN_PUBLIC_HEADER;
  const std::regex enumerator(R"((zspSts\w+) = (-?\d+))");
  int count = 0;
  for (std::sregex_iterator it(header.begin(), header.end(), enumerator), end; it != end; ++it, ++count) {
    const std::string name = (*it)[1];
    EXPECT_EQ(zspgenStatusText(std::stoi((*it)[2])), name);
    EXPECT_NE(header.find("\n * " + name + " "), std::string::npos) << name << " has no paragraph";
  }
  EXPECT_GE(count, 5);
  for (zspStatus unknown : {1, -1, -7, -17}) EXPECT_STREQ(zspgenStatusText(unknown), "unknown zspStatus");
}

// A family is a name without its length, order and sample type: zspgDFTFwd_CToC_12_32fc belongs to
// zspgDFTFwd_CToC. Each must be named in a comment of the generated prototypes.
TEST(PublicHeader, EveryExportedFamilyHasReferenceText) {
  const std::string api = readFile(ZSPGEN_API_HEADER);
  ASSERT_FALSE(api.empty()) << "cannot read " ZSPGEN_API_HEADER;
  std::string comments;
  const std::regex comment(R"(/\*[\s\S]*?\*/)");
  for (std::sregex_iterator it(api.begin(), api.end(), comment), end; it != end; ++it) comments += it->str();

  std::ifstream names(ZSPGEN_EXPORTED_NAMES);
  const std::regex sizeOrType(R"(_(\d+|32f|64f|32fc|64fc)(?=_|$))");
  std::set<std::string> families;
  for (std::string name; std::getline(names, name);)
    if (!name.empty()) families.insert(std::regex_replace(name, sizeOrType, ""));
  EXPECT_GE(families.size(), 8u);
  for (const std::string& family : families) {
    const std::regex named(family + R"((?![A-Za-z0-9]))");
    EXPECT_TRUE(std::regex_search(comments, named)) << family << " has no reference text";
  }
}

}  // namespace
