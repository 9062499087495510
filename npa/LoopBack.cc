#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Requests.h"

moxsupply::Status MoxNPAUtilityCommand::sendDataLoopBack() const noexcept {
  return mFilterCom.writeData(moxsupply::bytesOf<moxsupply::kLoopBack>(),
                              moxsupply::kLoopBack.size);
}
