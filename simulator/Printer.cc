#include "simulator/Printer.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace moxsupply::simulator {

Printer::Printer(const Model& model, Complain complain, Faults faults)
    : mModel(&model), mComplain(std::move(complain)), mDisturbance(std::move(faults)) {}

std::vector<Write> Printer::receive(std::span<const std::uint8_t> bytes) {
  std::vector<Write> writes;
  for (const RequestReader::Finding& finding : mReader.read(bytes)) {
    if (const auto* junk = std::get_if<Junk>(&finding)) {
      mComplain(*junk);
    } else {
      auto answer = mDisturbance.disturb(answerTo(*mModel, std::get<Request>(finding)));
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
