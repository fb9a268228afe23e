// FIFO: a fixed-depth history of T*, newest first. Pushing onto a full
// queue drops the oldest element off the end (deleted when owning).
#ifndef CFILO_HPP
#define CFILO_HPP

#include <stdlib.h>
#include <string.h>

#include "cError.hpp"

template <class T>
class FIFO {
 public:
  // A bad depth or a failed allocation leaves a queue of depth 0, which
  // holds nothing.
  explicit FIFO(int depth, bool owns = true) : owns_(owns), slots_(0), depth_(0) {
    if (depth < 1) {
      fail(77);
      return;
    }
    slots_ = (T**)calloc(depth, sizeof(T*));
    if (!slots_) {
      fail(91);
      return;
    }
    depth_ = depth;
  }
  virtual ~FIFO() {
    clear();
    free(slots_);
  }

  void push(T* item) {
    if (!item) {
      fail(108);
      return;
    }
    if (depth_ == 0) {  // nowhere to keep it: it falls straight off
      if (owns_) delete item;
      return;
    }
    T* oldest = slots_[depth_ - 1];
    if (oldest && oldest != item) {
      if (owns_)
        delete oldest;
      else
        fail(132, "Memory leak deteched");
    }
    memmove(slots_ + 1, slots_, (depth_ - 1) * sizeof(T*));
    slots_[0] = item;
  }

  T* get(int index) const {
    if (index < 0 || index >= depth_) return 0;
    return slots_[index];
  }

  void set(T* item, int index) {
    if (index < 0 || index >= depth_) {
      fail(240);
      return;
    }
    if (owns_ && slots_[index] != item) delete slots_[index];
    slots_[index] = item;
  }

  void remove(int index) {
    if (index < 0 || index >= depth_) {
      fail(206);
      return;
    }
    if (owns_) delete slots_[index];
    memmove(slots_ + index, slots_ + index + 1,
            (depth_ - index - 1) * sizeof(T*));
    slots_[depth_ - 1] = 0;
  }

  void clear() {
    for (int i = 0; i < depth_; i++) {
      if (owns_) delete slots_[i];
      slots_[i] = 0;
    }
  }

  // Occupied slots.
  int count() const {
    int n = 0;
    for (int i = 0; i < depth_; i++)
      if (slots_[i]) n++;
    return n;
  }
  int depth() const { return depth_; }
  bool owns() const { return owns_; }
  void setOwns(bool owns) { owns_ = owns; }

 private:
  static void fail(int line, const char* text = 0) {
    report(SOURCE_NAME, line, text, REPORT_ASSERT, false);
  }

  FIFO(const FIFO&) = delete;
  FIFO& operator=(const FIFO&) = delete;

  bool owns_;
  T** slots_;
  int depth_;
};

#endif
