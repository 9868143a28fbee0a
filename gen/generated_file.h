// Shared pieces of the kernel generators: writing generated sources and printing exact literals.
#ifndef ZSPGEN_GEN_GENERATED_FILE_H
#define ZSPGEN_GEN_GENERATED_FILE_H

#include <string>

namespace zspgen {

// The command line that ran the generator, as it will stand in the first line of each file it writes.
std::string commandLine(int argc, char** argv);

// Writes `content` to `path` unless the file already holds exactly that; false if it cannot be written.
bool writeIfChanged(const std::string& path, const std::string& content);

// Writes a generated source that opens with the command that produced it and a summary line.
// The file is rewritten only when its content changed, so an unchanged run recompiles nothing.
bool writeGeneratedFile(const std::string& path, const std::string& command, const std::string& summary,
                        const std::string& body);

// Hexadecimal floating literals: exact, with no decimal round trip ("0x1.6a09e6p-1f", "0x1.6a09e667f3bcdp-1").
std::string hexLiteral(float value);
std::string hexLiteral(double value);

// The scale literals 1/N and 1/sqrt(N) of a kernel of length n, as literals of its sample type. 1/N rounds
// once from the exact value. 1/sqrt(N) in double is the value of double arithmetic, the square root and the
// quotient each rounded (0x1.279a74590331dp-1, 0.5773502691896258, for N = 3); in single precision that is
// the same as rounding once from the exact value.
struct ScaleLiteralText {
  std::string invN, invSqrtN;
};
ScaleLiteralText scaleLiterals(int n, bool single);

}  // namespace zspgen

#endif  // ZSPGEN_GEN_GENERATED_FILE_H
