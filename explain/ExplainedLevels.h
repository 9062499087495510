#pragma once

#include "explain/Explanation.h"
#include "values/Dictionary.h"

namespace moxsupply {

// Say which item of an inkjet printer's decoded answer makes which level, and which of a laser
// printer's two decoded answers the levels of a supply come from.
void explainInkjetLevels(Explanation& text, const Dictionary& items);
void explainLaserLevels(Explanation& text, const Dictionary& table, const Dictionary& record);

}  // namespace moxsupply
