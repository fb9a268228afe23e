// Pointer containers: Array (indexed, growable), List, ListIter and Stack.
// They hold pointers to heap objects and, unless made non-owning, delete
// their elements when overwritten, cleared or destroyed. Broken
// preconditions go to the assertion channel and the call carries on with a
// harmless result.
#ifndef CARRAY_HPP
#define CARRAY_HPP

#include <stdlib.h>
#include <string.h>

#include "cError.hpp"

// Array of T*. Sorting needs T to provide
//   virtual int compareTo(const T* other, int key) const;
// returning <0, 0 or >0 as this element sorts before, with or after
// other; key is the caller's sort argument (a column, an order...).
// Only sort() needs it, so arrays of other types compile without it.
template <class T>
class Array {
 public:
  enum { GROW_BY = 50 };

  explicit Array(bool owns = true)
      : capacity_(0), count_(0), owns_(owns), slots_(0) {
    grow(GROW_BY);
    if (!slots_) fail(170);
  }
  virtual ~Array() {
    clear();
    free(slots_);
  }

  int add(T* item) { return set(item, count_); }

  // Stores item at index, growing past the end as needed; returns index or
  // -1 when the slot cannot exist.
  int set(T* item, int index) {
    if (index < 0) {
      fail(197);
      return -1;
    }
    if (index >= capacity_ && !grow(index - capacity_ + GROW_BY)) return -1;
    T* old = slots_[index];
    if (old && old != item) {
      if (owns_)
        delete old;
      else
        fail(228, "Memory leak deteched");
    }
    slots_[index] = item;
    if (index >= count_) count_ = index + 1;
    return index;
  }

  T* get(int index) const {
    if (index < 0 || index >= count_) return 0;
    return slots_[index];
  }

  // Takes the element out of its slot; the count stays.
  T* detach(int index) {
    if (index < 0 || index >= count_) fail(359);
    T* item = get(index);
    if (item) slots_[index] = 0;
    return item;
  }

  int insert(T* item, int index) {
    if (index < 0 || index > count_) {
      fail(331);
      return -1;
    }
    if (capacity_ <= count_ + 1 && !grow(GROW_BY)) return -1;
    memmove(slots_ + index + 1, slots_ + index,
            (count_ - index) * sizeof(T*));
    slots_[index] = item;
    count_++;
    return index;
  }

  // Takes the element out and closes the gap; the caller now owns it.
  T* remove(int index) {
    if (count_ == 0) {
      fail(478);
      return 0;
    }
    if (index < 0 || index >= count_) {
      fail(465);
      return 0;
    }
    T* item = slots_[index];
    memmove(slots_ + index, slots_ + index + 1,
            (count_ - index - 1) * sizeof(T*));
    slots_[--count_] = 0;
    return item;
  }

  int indexOf(const T* item) const {
    if (!item) {
      fail(259);
      return -1;
    }
    for (int i = 0; i < count_; i++)
      if (slots_[i] == item) return i;
    return -1;
  }

  void clear() {
    for (int i = 0; i < count_; i++) {
      if (owns_) delete slots_[i];
      slots_[i] = 0;
    }
    count_ = 0;
  }

  // Empty (detached) slots sort after every element.
  void sort(int key = 0) {
    if (count_ > 1) quicksort(0, count_ - 1, key);
  }

  int count() const { return count_; }
  int capacity() const { return capacity_; }
  bool owns() const { return owns_; }
  void setOwns(bool owns) { owns_ = owns; }

 protected:
  static void fail(int line, const char* text = 0) {
    report(SOURCE_NAME, line, text, REPORT_ASSERT, false);
  }

  // Adds by zeroed slots; the old block survives a failed allocation.
  bool grow(int by) {
    if (by < 1) {
      fail(303);
      return false;
    }
    T** block = (T**)calloc((size_t)capacity_ + by, sizeof(T*));
    if (!block) return false;
    if (slots_) memcpy(block, slots_, count_ * sizeof(T*));
    free(slots_);
    slots_ = block;
    capacity_ += by;
    return true;
  }

 private:
  static int compare(const T* a, const T* b, int key) {
    if (!a || !b) return (a == 0) - (b == 0);
    return a->compareTo(b, key);
  }

  void swap(int i, int j) {
    T* t = slots_[i];
    slots_[i] = slots_[j];
    slots_[j] = t;
  }

  // Lomuto partition around the middle element, which keeps sorted input
  // from degrading; recursion goes into the smaller half only.
  void quicksort(int lo, int hi, int key) {
    while (lo < hi) {
      swap((lo + hi) / 2, hi);
      const T* pivot = slots_[hi];
      int store = lo;
      for (int i = lo; i < hi; i++)
        if (compare(slots_[i], pivot, key) < 0) swap(i, store++);
      swap(store, hi);
      if (store - lo < hi - store) {
        quicksort(lo, store - 1, key);
        lo = store + 1;
      } else {
        quicksort(store + 1, hi, key);
        hi = store - 1;
      }
    }
  }

  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;

  int capacity_;
  int count_;
  bool owns_;
  T** slots_;
};

template <class T>
class List : public Array<T> {
 public:
  explicit List(bool owns = true) : Array<T>(owns) {
    if (this->capacity() == 0) Array<T>::fail(443);
  }
  int addFirst(T* item) { return this->insert(item, 0); }
  T* removeFirst() { return this->remove(0); }
};

// Cursor over a List:
//   for (T* p = it.first(); !it.done(); p = it.next()) ...
// Elements may be null (detached slots), hence done() rather than a null test.
template <class T>
class ListIter {
 public:
  explicit ListIter(const List<T>* list) : list_(list), index_(0) {
    if (!list_) report(SOURCE_NAME, 550);
  }
  T* first() {
    index_ = 0;
    return current();
  }
  T* next() {
    if (!done()) index_++;
    return current();
  }
  T* current() const { return list_ ? list_->get(index_) : 0; }
  int index() const { return index_; }
  bool done() const { return !list_ || index_ >= list_->count(); }

 private:
  const List<T>* list_;
  int index_;
};

// Last in, first out; slot 0 is the top.
template <class T>
class Stack : public List<T> {
 public:
  explicit Stack(bool owns = true) : List<T>(owns) {
    if (this->capacity() == 0) Array<T>::fail(913);
  }
  int push(T* item) { return this->addFirst(item); }
  T* pop() { return this->removeFirst(); }
  T* top() const { return this->get(0); }
  bool empty() const { return this->count() == 0; }
};

#endif
