#include "chem/condition.h"
#include "core/handle.h"
#include "chem/molecule.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <unordered_set>

namespace xtalmotif {
namespace {

// Counts its live instances through a counter owned by the test, so the test sees destruction.
struct Tracked {
  explicit Tracked(int *alive) : alive_(alive) { ++*alive_; }
  ~Tracked() { --*alive_; }
  int *alive_;
};

TEST(Handle, DefaultHandleIsNullAndDereferencingNamesTheType) {
  THandle<Molecule> h;
  EXPECT_TRUE(h.is_null());
  EXPECT_FALSE(static_cast<bool>(h));
  EXPECT_EQ(h.get(), nullptr);
  EXPECT_TRUE(h == nullptr);
  try {
    h->natoms();
    FAIL() << "dereferencing a null handle must throw";
  } catch (const NullHandleError &e) {
    EXPECT_NE(std::string(e.what()).find("xtalmotif::Molecule"), std::string::npos) << e.what();
  }
  THandle<Condition> c;
  EXPECT_THROW(*c, std::logic_error); // a NullHandleError is a logic error
  try {
    (void)*c;
  } catch (const NullHandleError &e) {
    EXPECT_NE(std::string(e.what()).find("Condition"), std::string::npos) << e.what();
  }
}

TEST(Handle, OwnsARawPointerAndReleasesWithTheLastCopy) {
  int alive = 0;
  {
    THandle<Tracked> a(new Tracked(&alive));
    EXPECT_EQ(alive, 1);
    {
      THandle<Tracked> b = a;
      EXPECT_EQ(a.use_count(), 2);
    }
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(a.use_count(), 1);
  }
  EXPECT_EQ(alive, 0);
  auto m = make_handle<Tracked>(&alive);
  EXPECT_EQ(alive, 1);
  m.reset();
  EXPECT_EQ(alive, 0);
  EXPECT_TRUE(m.is_null());
}

TEST(Handle, ComparesByIdentityNotByValue) {
  auto a = make_handle<EqualTo>("equal to", 3.0);
  auto b = make_handle<EqualTo>("equal to", 3.0);
  ASSERT_TRUE(*a == *b); // equal values...
  EXPECT_FALSE(a == b);  // ...but two objects
  EXPECT_TRUE(a != b);
  THandle<EqualTo> a2 = a;
  EXPECT_TRUE(a == a2);
  EXPECT_FALSE(a != a2);

  std::set<THandle<EqualTo>> ordered{a, b, a2};
  EXPECT_EQ(ordered.size(), 2u);
  std::unordered_set<THandle<EqualTo>> hashed{a, b, a2};
  EXPECT_EQ(hashed.size(), 2u);
}

TEST(Handle, DerivedConvertsToBaseSharingTheObject) {
  auto derived = make_handle<Greater>("greater than", 0.0);
  THandle<Condition> base = derived;
  EXPECT_TRUE(base == derived);
  EXPECT_EQ(derived.use_count(), 2);
  EXPECT_TRUE(base->test(1.0)); // virtual dispatch through the base handle
  EXPECT_FALSE(base->test(0.0));

  THandle<Greater> back = handle_cast<Greater>(base);
  EXPECT_TRUE(back == derived);
  THandle<EqualTo> wrong = handle_cast<EqualTo>(base);
  EXPECT_TRUE(wrong.is_null());

  THandle<Atom> atom(make_handle<Atom3d>());
  EXPECT_NE(handle_cast<Atom3d>(atom).get(), nullptr);
}

} // namespace
} // namespace xtalmotif
