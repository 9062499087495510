#pragma once

#include <filesystem>
#include <system_error>

namespace moxsupply {

enum class Copied : bool { kNo, kYes };

// Copies a store, and the journal of a writer that was killed in the midst of a change, to where it
// can be undone, which a reader must not do in the store itself.
//
// Who changes the store meanwhile has to undo that first, too. Then the journal is removed, and the
// copy may be a mixture: it is no copy, and the store can be read again. What is being undone while
// it is copied does no harm: the journal has it all.
Copied copyInterrupted(const std::filesystem::path& store, const std::filesystem::path& copy,
                       std::error_code& failed);

}  // namespace moxsupply
