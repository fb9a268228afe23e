// Pointer containers, the lookup3 hash and the hash table.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "cArray.hpp"
#include "cFilo.hpp"
#include "cHash.hpp"
#include "reports.hpp"

namespace {

typedef std::vector<int> V;

// Counts live instances so ownership mistakes show as leaks or double frees.
struct Item {
  static int live;
  static V deleted;  // values, in deletion order
  int value;
  explicit Item(int v = 0) : value(v) { live++; }
  virtual ~Item() { live--, deleted.push_back(value); }
  virtual int compareTo(const Item* other, int) const { return value - other->value; }
};
int Item::live = 0;
V Item::deleted;

class Containers : public ::testing::Test {
 protected:
  void SetUp() override { Item::deleted.clear(); }
  void TearDown() override { EXPECT_EQ(0, Item::live) << "leaked or double-deleted"; }
  Reports reports;
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

TEST_F(Containers, OwnershipOnOverwriteAndClear) {
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
  EXPECT_TRUE(reports.are({"cArray.hpp*Memory leak deteched"}));
  EXPECT_EQ(&b, borrowed.get(0));
  borrowed.add(&a);
  borrowed.clear();
  owning.clear();
  EXPECT_EQ(2, Item::live);  // a and b
}

// Values in iteration order; null slots as -1.
template <class L>
std::string values(const L& list) {
  std::string out;
  ListIter<Item> it(&list);
  for (Item* p = it.first(); !it.done(); p = it.next()) out += std::to_string(p ? p->value : -1) + " ";
  return out;
}

TEST_F(Containers, SortListStackAndIterator) {
  List<Item> l;
  for (int v : {5, 1, 4, 1, 3}) l.add(new Item(v));
  l.add(0);  // nulls sort last
  l.addFirst(new Item(2));
  l.sort();
  EXPECT_EQ("1 1 2 3 4 5 -1 ", values(l));
  Stack<Item> s;  // unused by the product: the last pushed pops first
  for (int v : {1, 2}) s.push(new Item(v));
  Item* top = s.pop();  // the caller owns what it pops
  EXPECT_EQ(2, top->value);
  delete top;
  ListIter<Item> none(0);
  EXPECT_TRUE(none.done() && none.first() == 0);
  EXPECT_TRUE(reports.are({"\"cArray.hpp\" (550)"}));
}

// A full queue drops, and deletes, its oldest. Unused by the product.
TEST_F(Containers, FifoKeepsTheNewest) {
  FIFO<Item> f(2);
  for (int i = 1; i <= 3; i++) f.push(new Item(i));
  EXPECT_EQ(3, f.get(0)->value);
  EXPECT_EQ(2, f.get(1)->value);
  EXPECT_EQ(V{1}, Item::deleted);
}

TEST_F(Containers, HashlittleAndATableThatKeepsItsKeysAndOwnsItsItems) {
  EXPECT_EQ(0xdeadbeefu, hashlittle("", 0, 0));
  const char* s = "Four score and seven years ago";
  EXPECT_EQ(0x17770551u, hashlittle(s, strlen(s), 0));
  cHashTable<Item> t;
  Item* a1 = new Item(1);
  t.insert("alpha", a1);
  EXPECT_EQ(a1, t.lookup("alpha"));
  EXPECT_TRUE(!t.lookup("gamma") && !t.lookup("Alpha"));
  EXPECT_EQ(a1, t.insert("alpha", new Item(2)));  // insert hands back the old
  delete a1;
  t.set("alpha", new Item(3));  // set deletes it
  EXPECT_EQ((V{1, 2}), Item::deleted);
  t.clear();
  EXPECT_TRUE(t.count() == 0 && Item::deleted.back() == 3);
}

}  // namespace
