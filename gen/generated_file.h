// Shared pieces of the kernel generators: writing generated sources and printing exact literals.
#ifndef ZSPGEN_GEN_GENERATED_FILE_H
#define ZSPGEN_GEN_GENERATED_FILE_H

#include <string>
#include <utility>
#include <vector>

namespace zspgen {

// The command line that ran the generator, as it will stand in the first line of each file it writes.
std::string commandLine(int argc, char** argv);

// Writes `content` to `path` unless the file already holds exactly that; false if it cannot be written.
bool writeIfChanged(const std::string& path, const std::string& content);

// Writes a generated source that opens with the command that produced it and a summary line.
// The file is rewritten only when its content changed, so an unchanged run recompiles nothing.
bool writeGeneratedFile(const std::string& path, const std::string& command, const std::string& summary,
                        const std::string& body);

// The files one run of a generator writes into its directory, held to the list of files the build
// compiles from there: `expected_outputs.txt` in the same directory, one file name a line, which CMake
// writes from the export list's ranges. A generator that writes a file the build does not list, or leaves
// out one it does, fails instead of leaving a kernel out of the library or a stale one in.
class GeneratedTree {
 public:
  GeneratedTree(std::string dir, std::string command) : dir_(std::move(dir)), command_(std::move(command)) {}
  // A generated source, opening with the command and `summary`; rewritten only when its content changed.
  bool source(const std::string& name, const std::string& summary, const std::string& body);
  // Any other file of the run (count reports, expected values).
  bool file(const std::string& name, const std::string& content);
  // Whether the files written are exactly those listed; prints each difference after `tool`.
  bool matchesBuildList(const char* tool) const;

 private:
  std::string dir_, command_;
  std::vector<std::string> written_;
};

// Hexadecimal floating literals: exact, with no decimal round trip ("0x1.6a09e6p-1f", "0x1.6a09e667f3bcdp-1").
std::string hexLiteral(float value);
std::string hexLiteral(double value);

// The opening lines of a kernel of length n: its checks in their order, which return the first failing
// status, and `scale` declared and set to the literal the hint selects. `rule` names the zsp::ScaleRule
// ("Forward", "Inverse" or "Symmetric"). The literals are of the sample type: 1/N rounds once from the
// exact value; 1/sqrt(N) in double is the value of double arithmetic, the square root and the quotient
// each rounded (0x1.279a74590331dp-1, 0.5773502691896258, for N = 3); in single precision that is the
// same as rounding once from the exact value.
std::string kernelChecks(const char* rule, int n, bool single);

}  // namespace zspgen

#endif  // ZSPGEN_GEN_GENERATED_FILE_H
