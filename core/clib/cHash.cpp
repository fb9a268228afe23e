// lookup3's hashlittle and the chained hash table over it.
#include "cHash.hpp"

#include <stdlib.h>
#include <string.h>

#define ROT(x, k) (((x) << (k)) | ((x) >> (32 - (k))))

#define MIX(a, b, c)                   \
  {                                    \
    a -= c; a ^= ROT(c, 4);  c += b;   \
    b -= a; b ^= ROT(a, 6);  a += c;   \
    c -= b; c ^= ROT(b, 8);  b += a;   \
    a -= c; a ^= ROT(c, 16); c += b;   \
    b -= a; b ^= ROT(a, 19); a += c;   \
    c -= b; c ^= ROT(b, 4);  b += a;   \
  }

#define FINAL(a, b, c)            \
  {                               \
    c ^= b; c -= ROT(b, 14);      \
    a ^= c; a -= ROT(c, 11);      \
    b ^= a; b -= ROT(a, 25);      \
    c ^= b; c -= ROT(b, 16);      \
    a ^= c; a -= ROT(c, 4);       \
    b ^= a; b -= ROT(a, 14);      \
    c ^= b; c -= ROT(b, 24);      \
  }

// Bytes are gathered one at a time: no alignment or byte-order concerns,
// and the result equals the word-reading version on a little-endian host.
static uint32_t word(const uint8_t* k, size_t n) {
  uint32_t w = 0;
  for (size_t i = 0; i < n && i < 4; i++) w |= (uint32_t)k[i] << (8 * i);
  return w;
}

uint32_t hashlittle(const void* key, size_t length, uint32_t initval) {
  const uint8_t* k = (const uint8_t*)key;
  uint32_t a, b, c;
  a = b = c = 0xdeadbeef + (uint32_t)length + initval;

  while (length > 12) {
    a += word(k, 4);
    b += word(k + 4, 4);
    c += word(k + 8, 4);
    MIX(a, b, c);
    length -= 12;
    k += 12;
  }
  if (length == 0) return c;  // no tail: the final mix is skipped
  a += word(k, length);
  if (length > 4) b += word(k + 4, length - 4);
  if (length > 8) c += word(k + 8, length - 8);
  FINAL(a, b, c);
  return c;
}

struct HashTableBase::Entry {
  char* key;
  void* value;
  Entry* next;
};

int HashTableBase::bucketOf(const char* key, int buckets) {
  return (int)((hashlittle(key, strlen(key), 0) & 0xFFFF) % (uint32_t)buckets);
}

HashTableBase::HashTableBase(Deleter deleter, bool owns)
    : table_(0), buckets_(0), count_(0), owns_(owns), deleter_(deleter) {
  table_ = (Entry**)calloc(BUCKETS, sizeof(Entry*));
  if (table_) buckets_ = BUCKETS;
}

HashTableBase::~HashTableBase() {
  clear();
  free(table_);
}

HashTableBase::Entry* HashTableBase::find(const char* key) const {
  if (!key || buckets_ == 0) return 0;
  for (Entry* e = table_[bucketOf(key, buckets_)]; e; e = e->next)
    if (strcmp(e->key, key) == 0) return e;
  return 0;
}

bool HashTableBase::put(const char* key, void* value, bool* replaced,
                        void** previous) {
  *replaced = false;
  *previous = 0;
  if (!key || buckets_ == 0) return false;
  Entry* e = find(key);
  if (e) {
    *replaced = true;
    *previous = e->value;
    e->value = value;
    return true;
  }
  size_t size = strlen(key) + 1;
  e = (Entry*)malloc(sizeof(Entry));
  char* copy = (char*)malloc(size);
  if (!e || !copy) {
    free(e);
    free(copy);
    return false;
  }
  memcpy(copy, key, size);
  Entry** head = &table_[bucketOf(key, buckets_)];
  e->key = copy;
  e->value = value;
  e->next = *head;
  *head = e;
  count_++;
  return true;
}

void* HashTableBase::insert(const char* key, void* value) {
  bool replaced;
  void* previous;
  if (!put(key, value, &replaced, &previous)) return 0;
  return replaced ? previous : value;
}

void* HashTableBase::lookup(const char* key) const {
  Entry* e = find(key);
  return e ? e->value : 0;
}

bool HashTableBase::contains(const char* key) const { return find(key) != 0; }

void* HashTableBase::remove(const char* key) {
  if (!key || buckets_ == 0) return 0;
  for (Entry** link = &table_[bucketOf(key, buckets_)]; *link;
       link = &(*link)->next) {
    Entry* e = *link;
    if (strcmp(e->key, key) == 0) {
      void* value = e->value;
      *link = e->next;
      free(e->key);
      free(e);
      count_--;
      return value;
    }
  }
  return 0;
}

void HashTableBase::drop(void* value) const {
  if (owns_ && deleter_) deleter_(value);
}

void HashTableBase::clear() {
  for (int i = 0; i < buckets_; i++) {
    while (Entry* e = table_[i]) {
      table_[i] = e->next;
      count_--;
      void* value = e->value;
      free(e->key);
      free(e);
      drop(value);  // last, so a deleter may look at the table safely
    }
  }
}

void HashTableBase::forEach(Visitor visit, void* context) const {
  for (int i = 0; i < buckets_; i++)
    for (Entry* e = table_[i]; e; e = e->next) visit(e->key, e->value, context);
}
