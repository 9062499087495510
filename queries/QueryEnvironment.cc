#include "queries/QueryEnvironment.h"

#include "system/Process.h"

namespace moxsupply {

std::vector<std::string> queryEnvironment(std::vector<std::string> added) {
  added.insert(added.end(), {"LC_ALL=C.UTF-8", "LANGUAGE="});
  std::vector<std::string> variables = environmentWith(added);
  std::erase_if(variables, [](const std::string& variable) {
    const bool isOurs = variable == "LC_ALL=C.UTF-8" || variable == "LANGUAGE=";
    return !isOurs && (variable.starts_with("LC_") || variable.starts_with("LANG"));
  });
  return variables;
}

}  // namespace moxsupply
