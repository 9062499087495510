#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "commands/Option.h"
#include "history/Moment.h"
#include "history/Store.h"
#include "text/Problem.h"

namespace moxsupply {

// What the commands that deal with readings share.

// The file that readings are in; without it, the one of this service or this user.
[[nodiscard]] Option storeOption(std::string& path);

// The one name of a printer, in whatever way it was given.
[[nodiscard]] Result<std::string> rememberedPrinter(const std::string& given);

// A printer that is known by its place, and need not be given.
[[nodiscard]] Option rememberedPrinter(std::optional<std::string>& printer);

// A time in UTC.
[[nodiscard]] Option moment(std::string name, std::optional<Moment>& place, std::string help);

// How lines are shown: to people who look at a terminal as a table, and to programs as JSON.
enum class LineFormat : std::uint8_t { kTable, kJson };
[[nodiscard]] Option lineFormat(std::optional<LineFormat>& place);
[[nodiscard]] LineFormat chosen(std::optional<LineFormat> format);

// Opens the store that was named. Where none was, says on standard error, in the name of `command`,
// which one it is.
[[nodiscard]] Result<Store> openStoreToRead(std::string_view command, const std::string& named);

// Where it is written. Where none was named, makes its folder.
[[nodiscard]] Result<std::string> storeToWrite(const std::string& named);

// Opens it to be written.
[[nodiscard]] Result<Store> openStoreToWrite(const std::string& named);

}  // namespace moxsupply
