#include "npa/CommandList.h"
#include "npa/MoxNPAUtilityCommand.h"

moxsupply::Status MoxNPAUtilityCommand::sendDataLoopBack() const noexcept {
  constexpr std::uint32_t kRequestSize = 9;
  return mFilterCom.writeData(CommandList[3].command, kRequestSize);
}
