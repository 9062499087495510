#pragma once

#include <unistd.h>

#include "system/FileDescriptor.h"

namespace moxsupply {

// Puts another descriptor in the place of one, for as long as this object lives.
class Substitute {
 public:
  Substitute(int place, int substitute)
      : mPlace(place),
        mFormer(aboveFilterDescriptors(FileDescriptor(::dup(place)))),
        mIsInPlace(::dup2(substitute, place) >= 0) {}
  // Rather nothing than the substitute: what is written afterwards is not for it.
  ~Substitute() {
    if (!mFormer || ::dup2(mFormer.get(), mPlace) < 0) ::close(mPlace);
  }
  Substitute(const Substitute&) = delete;
  Substitute& operator=(const Substitute&) = delete;
  Substitute(Substitute&&) = delete;
  Substitute& operator=(Substitute&&) = delete;

  // Otherwise what stood in the place before still does.
  [[nodiscard]] bool isInPlace() const { return mIsInPlace; }

  // What stood in the place before; -1 when nothing did.
  [[nodiscard]] int former() const { return mFormer.get(); }

 private:
  int mPlace;
  FileDescriptor mFormer;
  bool mIsInPlace;
};

}  // namespace moxsupply
