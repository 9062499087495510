#include "history/InterruptedStore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

fs::path journalOf(fs::path store) { return store += "-journal"; }

void copyToChange(const fs::path& from, const fs::path& to, std::error_code& failed) {
  if (fs::copy_file(from, to, fs::copy_options::overwrite_existing, failed)) {
    fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, failed);
  }
}

bool isStillThere(const FileDescriptor& file) {
  struct stat status {};
  return ::fstat(file.get(), &status) == 0 && status.st_nlink > 0;
}

}  // namespace

Copied copyInterrupted(const fs::path& store, const fs::path& copy, std::error_code& failed) {
  const fs::path journal = journalOf(store);
  // As long as it is open, no other file can be taken for it.
  const FileDescriptor opened(::open(journal.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!opened) {
    if (errno != ENOENT) failed = {errno, std::generic_category()};
    return Copied::kNo;
  }
  copyToChange(journal, journalOf(copy), failed);
  if (failed == std::errc::no_such_file_or_directory) failed.clear();
  if (!failed) copyToChange(store, copy, failed);
  return !failed && isStillThere(opened) ? Copied::kYes : Copied::kNo;
}

}  // namespace moxsupply
