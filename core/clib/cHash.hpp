// Keyed storage: a chained hash table of element pointers under text keys,
// and Number, a boxed integer so that plain numbers can live in it.
#ifndef CHASH_HPP
#define CHASH_HPP

#include <stddef.h>
#include <stdint.h>

// Bob Jenkins' lookup3 hash of length bytes, read as little-endian words
// on every host, so the value is the same everywhere.
uint32_t hashlittle(const void* key, size_t length, uint32_t initval);

// The untyped table: values are opaque pointers, keys are copied. An owning
// table hands every value it drops to the deleter.
class HashTableBase {
 public:
  enum { BUCKETS = 1021 };
  typedef void (*Deleter)(void* value);
  typedef void (*Visitor)(const char* key, void* value, void* context);

  HashTableBase(Deleter deleter, bool owns);
  virtual ~HashTableBase();

  // Under an existing key the value is replaced and the previous value
  // returned; otherwise a new entry is made and value returned. 0 when the
  // entry cannot be made. Nothing is deleted here.
  void* insert(const char* key, void* value);
  void* lookup(const char* key) const;
  bool contains(const char* key) const;
  // Takes the entry out and returns its value, which the caller now owns;
  // 0 when the key is absent.
  void* remove(const char* key);
  // Drops every entry, bucket by bucket, each chain from its head.
  void clear();
  // Calls visit for every entry in the order clear() would drop them.
  void forEach(Visitor visit, void* context) const;

  int count() const { return count_; }
  int buckets() const { return buckets_; }
  bool owns() const { return owns_; }
  void setOwns(bool owns) { owns_ = owns; }

  static int bucketOf(const char* key, int buckets);

 protected:
  // Finds or makes the entry for key; *replaced tells which, *previous the
  // value it held. False when nothing could be stored.
  bool put(const char* key, void* value, bool* replaced, void** previous);
  void drop(void* value) const;

 private:
  struct Entry;
  Entry* find(const char* key) const;

  HashTableBase(const HashTableBase&) = delete;
  HashTableBase& operator=(const HashTableBase&) = delete;

  Entry** table_;
  int buckets_;
  int count_;
  bool owns_;
  Deleter deleter_;
};

// The typed table. Owns its elements by default: clearing or destruction
// deletes them, and so does set() for an element it replaces. insert()
// keeps the untyped rule and hands a replaced element back instead.
template <class T>
class cHashTable : public HashTableBase {
 public:
  typedef void (*TypedVisitor)(const char* key, T* item, void* context);

  explicit cHashTable(bool owns = true) : HashTableBase(destroy, owns) {}

  T* insert(const char* key, T* item) {
    return (T*)HashTableBase::insert(key, item);
  }
  // Stores item under key; returns item, or 0 when it could not be stored.
  T* set(const char* key, T* item) {
    bool replaced;
    void* previous;
    if (!put(key, item, &replaced, &previous)) return 0;
    if (replaced && previous != item) drop(previous);
    return item;
  }
  T* lookup(const char* key) const { return (T*)HashTableBase::lookup(key); }
  T* remove(const char* key) { return (T*)HashTableBase::remove(key); }

  void forEach(TypedVisitor visit, void* context) const {
    Typed typed = {visit, context};
    HashTableBase::forEach(trampoline, &typed);
  }

 private:
  struct Typed {
    TypedVisitor visit;
    void* context;
  };
  static void trampoline(const char* key, void* value, void* context) {
    Typed* typed = (Typed*)context;
    typed->visit(key, (T*)value, typed->context);
  }
  static void destroy(void* value) { delete (T*)value; }
};

// A boxed signed 32-bit integer.
class Number {
 public:
  Number(int32_t value = 0) : value_(value) {}
  virtual ~Number() {}

  int32_t value() const { return value_; }
  void setValue(int32_t value) { value_ = value; }
  operator int32_t() const { return value_; }

  Number& operator=(int32_t value) {
    value_ = value;
    return *this;
  }
  // Wraps around like the machine word rather than overflowing.
  Number& operator+=(int32_t n) {
    value_ = (int32_t)((uint32_t)value_ + (uint32_t)n);
    return *this;
  }
  Number& operator-=(int32_t n) {
    value_ = (int32_t)((uint32_t)value_ - (uint32_t)n);
    return *this;
  }
  Number& operator++() { return *this += 1; }
  Number& operator--() { return *this -= 1; }

  // For sorting in an Array: key 0 ascending, any other key descending.
  virtual int compareTo(const Number* other, int key) const {
    int order = (value_ > other->value_) - (value_ < other->value_);
    return key ? -order : order;
  }

 private:
  int32_t value_;
};

#endif
