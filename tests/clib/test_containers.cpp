// Pointer containers, the lookup3 hash and the hash table.
#include <gtest/gtest.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "cArray.hpp"
#include "cError.hpp"
#include "cFilo.hpp"
#include "cHash.hpp"

namespace {

typedef std::vector<int> V;

// Counts live instances so ownership mistakes show as leaks or double frees.
struct Item {
  static int live;
  static V deleted;  // values, in deletion order
  int value;
  explicit Item(int v = 0) : value(v) { live++; }
  virtual ~Item() { live--, deleted.push_back(value); }
  virtual int compareTo(const Item* other, int key) const {  // key 1: descending
    return key ? other->value - value : value - other->value;
  }
};
int Item::live = 0;
V Item::deleted;

std::vector<std::string> reports;
void hook(const char* text) { reports.push_back(text); }

// Slots 0 .. n-1 as values, -1 for an empty slot.
template <class C>
V vals(const C& c, int n) {
  V v;
  for (int i = 0; i < n; i++) v.push_back(c.get(i) ? c.get(i)->value : -1);
  return v;
}

class Containers : public ::testing::Test {
 protected:
  void SetUp() override {
    setLogPath("");  // no log file from the tests
    setMessageHook(hook);
    reports.clear(), Item::deleted.clear();
  }
  void TearDown() override { EXPECT_EQ(0, Item::live) << "leaked or double-deleted"; }
  // Exactly one report since the last check, from file at line, with text.
  static void expectReport(const char* file, int line, const char* text = "") {
    ASSERT_EQ(1u, reports.size());
    std::string where = std::string(file) + "\" (" + std::to_string(line) + ")";
    auto has = [](const std::string& s) { return reports[0].find(s) != std::string::npos; };
    EXPECT_TRUE(has(where) && has(text)) << reports[0];
    reports.clear();
  }
};

TEST_F(Containers, ArrayGrowth) {
  Array<Item> a;
  EXPECT_EQ(50, a.capacity());
  for (int i = 0; i < 50; i++) a.add(new Item(i));
  EXPECT_EQ(50, a.capacity());  // the 50th fits
  a.add(new Item(50));
  EXPECT_EQ(100, a.capacity());
  Array<Item> far;
  EXPECT_EQ(120, far.set(new Item, 120));
  EXPECT_EQ(170, far.capacity());
  EXPECT_EQ(121, far.count());
  Array<Item> ins;
  for (int i = 0; i < 48; i++) ins.add(new Item);
  ins.insert(new Item, 0);
  EXPECT_EQ(50, ins.capacity());  // 50 > 48 + 1
  ins.insert(new Item, 0);
  EXPECT_EQ(100, ins.capacity());  // 50 <= 49 + 1
}

TEST_F(Containers, ArrayOverwrite) {
  Array<Item> owning;
  Item* same = new Item(1);
  owning.set(same, 0);
  owning.set(same, 0);  // the same pointer again is kept
  owning.set(new Item(2), 0);
  EXPECT_EQ(V{1}, Item::deleted);
  Item a, b;
  Array<Item> borrowed(false);
  borrowed.set(&a, 0);
  borrowed.set(&b, 0);
  expectReport("cArray.hpp", 228, "Memory leak deteched");
  EXPECT_EQ(&b, borrowed.get(0));
}

TEST_F(Containers, ArrayBadIndexesReportButReadsAreSilent) {
  Array<Item> a;
  Item x;
  EXPECT_EQ(-1, a.set(&x, -1));
  expectReport("cArray.hpp", 197);
  a.add(new Item), a.add(new Item);
  EXPECT_TRUE(!a.get(-1) && !a.get(2) && reports.empty());
  EXPECT_EQ(nullptr, a.detach(2));
  expectReport("cArray.hpp", 359);
  EXPECT_EQ(nullptr, a.remove(2));
  expectReport("cArray.hpp", 465);
  EXPECT_EQ(-1, a.insert(&x, 3));
  expectReport("cArray.hpp", 331);
}

TEST_F(Containers, ArrayInsertRemoveDetach) {
  Array<Item> a;
  for (int i = 0; i < 4; i++) a.add(new Item(i));
  a.insert(new Item(9), 2);
  a.insert(new Item(8), 5);  // at the end
  EXPECT_EQ((V{0, 1, 9, 2, 3, 8}), vals(a, a.count()));
  std::unique_ptr<Item> nine(a.remove(2));  // remove hands it over
  EXPECT_EQ(9, nine->value);
  a.add(new Item(4));  // into the slot the move emptied
  EXPECT_EQ((V{0, 1, 2, 3, 8, 4}), vals(a, a.count()));
  delete a.detach(1);
  EXPECT_EQ((V{0, -1, 2, 3, 8, 4}), vals(a, a.count()));
}

TEST_F(Containers, ClearDeletesOnlyWhenOwning) {
  Item kept[2];
  Array<Item> borrowed(false), owning;
  for (Item& i : kept) borrowed.add(&i), owning.add(new Item);
  borrowed.clear();
  owning.clear();
  EXPECT_EQ(2, Item::live);
}

TEST_F(Containers, SortByKey) {
  Array<Item> a;
  for (int i = 0; i < 300; i++) a.add(new Item((i * 37) % 101));  // duplicates
  for (int key : {0, 1}) {
    a.sort(key);
    for (int i = 1; i < a.count(); i++) ASSERT_GE(0, a.get(i - 1)->compareTo(a.get(i), key));
  }
  Array<Item> holes;
  for (int v : {5, 3, 4}) holes.add(new Item(v));
  delete holes.detach(0);
  holes.sort(0);  // empty slots go last
  EXPECT_EQ((V{3, 4, -1}), vals(holes, 3));
}

TEST_F(Containers, StackAndListIter) {
  Stack<Item> s;
  for (int i = 1; i <= 3; i++) s.push(new Item(i));
  V seen;  // the top is slot 0
  ListIter<Item> it(&s);
  for (Item* p = it.first(); !it.done(); p = it.next()) seen.push_back(p->value);
  EXPECT_EQ((V{3, 2, 1}), seen);
  for (int want : {3, 2, 1}) EXPECT_EQ(want, std::unique_ptr<Item>(s.pop())->value);
  EXPECT_EQ(nullptr, s.pop());
  expectReport("cArray.hpp", 478);
}

TEST_F(Containers, FifoKeepsTheNewest) {
  FIFO<Item> f(3);
  for (int i = 1; i <= 4; i++) f.push(new Item(i));
  EXPECT_EQ((V{4, 3, 2, -1}), vals(f, 4));  // get(3) is out of range
  EXPECT_EQ(V{1}, Item::deleted);
  f.remove(0);
  EXPECT_EQ((V{3, 2, -1}), vals(f, 3));
  f.set(new Item(5), 0);
  EXPECT_EQ((V{1, 4, 3}), Item::deleted);
  Item a, b;
  FIFO<Item> borrowed(1, false);
  borrowed.push(&a);
  borrowed.push(&b);
  expectReport("cFilo.hpp", 132, "Memory leak deteched");
  EXPECT_EQ(&b, borrowed.get(0));
  borrowed.clear();
  EXPECT_EQ(4, Item::live);  // two in f, a and b
}

TEST_F(Containers, FifoBadArguments) {
  FIFO<Item> f(2), none(0);
  expectReport("cFilo.hpp", 77);
  f.push(nullptr);
  expectReport("cFilo.hpp", 108);
  none.push(new Item);  // nowhere to keep it, so owning deletes it
  EXPECT_EQ(nullptr, none.get(0));
}

TEST_F(Containers, HashlittleTestVectors) {
  EXPECT_EQ(0xdeadbeefu, hashlittle("", 0, 0));
  const char* s = "Four score and seven years ago";
  EXPECT_EQ(0x17770551u, hashlittle(s, strlen(s), 0));
  EXPECT_EQ(0xcd628161u, hashlittle(s, strlen(s), 1));
  // Every byte of every tail length counts.
  char buf[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  for (size_t len = 1; len < sizeof buf; len++) {
    uint32_t h = hashlittle(buf, len, 0);
    for (size_t i = 0; i < len; i++) {
      buf[i] ^= 1;
      EXPECT_NE(h, hashlittle(buf, len, 0)) << len << " " << i;
      buf[i] ^= 1;
    }
  }
}

TEST_F(Containers, HashTableByKey) {
  cHashTable<Item> t;
  char key[] = "alpha";
  Item* a1 = new Item(1);
  EXPECT_EQ(a1, t.insert(key, a1));
  strcpy(key, "gamma");  // the table keeps its own copy
  EXPECT_EQ(a1, t.lookup("alpha"));
  EXPECT_TRUE(!t.lookup("gamma") && !t.lookup("Alpha"));
  EXPECT_EQ(a1, t.insert("alpha", new Item(2)));  // insert hands back the old
  delete a1;
  t.set("alpha", new Item(3));  // set deletes it
  EXPECT_EQ((V{1, 2}), Item::deleted);
  t.set("", new Item(4));
  EXPECT_EQ(3, std::unique_ptr<Item>(t.remove("alpha"))->value);
  EXPECT_EQ(nullptr, t.remove("alpha"));
  EXPECT_TRUE(t.contains("") && t.count() == 1);
  V seen;
  t.forEach([](const char*, Item* p, void* v) { ((V*)v)->push_back(p->value); }, &seen);
  EXPECT_EQ(V{4}, seen);
  t.clear();
  EXPECT_TRUE(t.count() == 0 && Item::deleted.back() == 4);
  Item kept;
  cHashTable<Item> borrowed(false);
  borrowed.set("a", &kept);
  borrowed.clear();  // TearDown counts kept alive once: no double delete
}

TEST_F(Containers, NumberWrapsLikeInt32) {
  Number n(INT32_MAX), three(3);
  EXPECT_EQ(INT32_MIN, (++n).value());
  EXPECT_EQ(INT32_MAX, (int32_t)(n -= 1));
  EXPECT_TRUE(n.compareTo(&three, 0) > 0 && n.compareTo(&three, 1) < 0);
}

}  // namespace
