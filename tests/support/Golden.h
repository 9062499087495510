#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Bytes.h"

namespace moxsupply::testing {

// What a golden file holds; tests/data/README.md describes the files.
struct Golden {
  enum class Kind {
    kLaser,          // a query over descriptors 1 and 3, and what it leaves
    kInkjet,         // the same
    kSuppliesTable,  // one record alone, and what its decoder gives
    kKelvo1,
    kKelvo2,
    kKelvo3,
  };

  enum class What {
    kRequest,  // what the module must write before the exchange goes on
    kReply,    // what the printer then sends
    kRecord,   // the record of a file that holds no exchange
  };

  struct Step {
    What what;
    std::vector<Bytes> packets;  // a reply's, each sent once those before it are read; else one
    std::optional<std::string> decoded;  // what the decoder gives for these bytes, "null" for
                                         // nothing: JSON as `shown` lays it out

    [[nodiscard]] Bytes bytes() const;  // all packets, back to back
  };

  std::string name;  // the file's, without its ending
  Kind kind = Kind::kLaser;
  std::string transport = "usb";
  bool repeatsKeys = false;  // a number or an item comes twice, and the later one counts
  std::vector<Step> steps;
  std::optional<std::string> report;  // of an exchange: {"status": 0, "report": {...}}, likewise

  // The bytes of all steps of a kind, back to back.
  [[nodiscard]] Bytes all(What what) const;

  static bool isOfExchange(Kind kind) { return kind == Kind::kLaser || kind == Kind::kInkjet; }
  [[nodiscard]] bool isExchange() const { return isOfExchange(kind); }
};

// What is wrong with a golden file; its text begins "NAME.golden:LINE: ".
class BrokenGolden : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the text of a golden file. Throws BrokenGolden.
Golden parseGolden(const std::string& name, std::string_view text);

// Reads tests/data/NAME.golden. Throws BrokenGolden.
Golden readGolden(const std::string& name);

// The names of all files in tests/data that end in ".golden", in alphabetical order.
std::vector<std::string> goldenNames();

// Of those, the ones that hold an exchange. A broken file counts as one, so that it fails under its
// own name.
std::vector<std::string> exchangeNames();

}  // namespace moxsupply::testing
