// Statement order of a generated straight-line body, chosen for register locality.
//
// The lowerings write a body in the order their recursion meets the values, which keeps values alive
// far longer than the arithmetic needs: every sample is loaded at the top, every result waits for the
// stores at the bottom. The order here follows the shape of the data flow instead. A body whose
// statements fall into independent groups runs one group after the other; a body that is one connected
// piece is cut in two by level, the half on the load side first, and each half is ordered the same way.
// There are several ways to place the cut (see schedule.cpp); for a transform the best of them puts each
// sub-transform of a stage together, stage after stage, so what is live at any point is about one
// sub-transform's values plus the results waiting between stages.
//
// Such an order puts dependent statements next to each other. A second pass moves independent
// statements up, no more than a bounded distance, to fill the latency of the arithmetic (a model of two
// statements started per cycle, each result ready three cycles later). Of the orders from the ways of
// cutting, the body takes the one that asks for the fewest spill stores and reloads when the sixteen
// registers are allocated so that, whenever one must be freed, the value used furthest ahead gives it
// up; or, where a generator asks for it, the one cut by height, which the compiler's own allocation
// has been measured to do better with than the model predicts.
//
// Dependencies are what each statement says it reads: the names of earlier statements, listed by the
// lowering that wrote it. Loads all come before the first store, so the body stays right when source and
// destination are the same array.
#ifndef ZSPGEN_GEN_SCHEDULE_H
#define ZSPGEN_GEN_SCHEDULE_H

#include <initializer_list>
#include <string>
#include <unordered_set>
#include <vector>

namespace zspgen {

struct Statement {
  enum Kind { Load, Compute, Store } kind;
  std::string defines;            // the name the statement defines; empty for a store
  std::string text;               // the statement, without indentation or line end
  std::vector<std::string> uses;  // the names of the earlier statements whose values it reads
};

// A body as a lowering writes it. Each statement is added with its operands as written, values and
// constants alike; it keeps those that are values (names that earlier statements define, or that were
// declared as values made outside the body), each once, as the names it reads.
class StatementList {
 public:
  // `name` is a value the statements may read that no statement of the list defines.
  void declare(const std::string& name) { values_.insert(name); }
  // Of `operands`, the values, each once, in their order.
  std::vector<std::string> valuesAmong(std::initializer_list<std::string> operands) const;
  // A statement defining `name` (empty for none) that reads the values among `operands`.
  void add(Statement::Kind kind, const std::string& name, const std::string& text,
           std::initializer_list<std::string> operands) {
    addReading(kind, name, text, valuesAmong(operands));
  }
  // The same with the names it reads already picked out.
  void addReading(Statement::Kind kind, const std::string& name, const std::string& text, std::vector<std::string> reads);
  std::vector<Statement> statements() && { return std::move(statements_); }

 private:
  std::vector<Statement> statements_;
  std::unordered_set<std::string> values_;
};

// Which of the orders from the ways of cutting a body takes.
enum class OrderChoice {
  FewestSpills,  // the one whose modeled allocation asks for the fewest spill stores and reloads
  ByHeight,      // the one cut where both sides fall apart into the most groups, levels counted by height
};

// A valid order of `body` (a list in dependency order) that keeps values close to their uses.
std::vector<size_t> localityOrder(const std::vector<Statement>& body, OrderChoice choice = OrderChoice::FewestSpills);

// The order of every way of cutting, of which localityOrder takes the one with the fewest spills or the
// one cut by height.
std::vector<std::vector<size_t>> localityOrders(const std::vector<Statement>& body);

// The statements in that order, one per line, each after `indent`.
std::string scheduledText(const std::vector<Statement>& body, const std::string& indent,
                          OrderChoice choice = OrderChoice::FewestSpills);

}  // namespace zspgen

#endif  // ZSPGEN_GEN_SCHEDULE_H
