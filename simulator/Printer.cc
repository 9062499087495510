#include "simulator/Printer.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace moxsupply::simulator {

Printer::Printer(Answers answers, Complain complain, Faults faults)
    : mAnswers(std::move(answers)),
      mComplain(std::move(complain)),
      mDisturbance(std::move(faults)) {}

Printer::Printer(const Model& model, Complain complain, Faults faults)
    : Printer([&model](Request request) { return answerTo(model, request); }, std::move(complain),
              std::move(faults)) {}

std::vector<Write> Printer::receive(std::span<const std::uint8_t> bytes) {
  std::vector<Write> writes;
  for (const RequestReader::Finding& finding : mReader.read(bytes)) {
    if (const auto* junk = std::get_if<Junk>(&finding)) {
      mComplain(*junk);
    } else {
      auto answer = mDisturbance.disturb(mAnswers(std::get<Request>(finding)));
      std::ranges::move(answer, std::back_inserter(writes));
    }
  }
  return writes;
}

void Printer::hearNothing() {
  if (const auto junk = mReader.takeJunk()) mComplain(*junk);
}

void Printer::hearEnd() {
  if (const auto junk = mReader.takeRest()) mComplain(*junk);
}

}  // namespace moxsupply::simulator
