// The servant cache: bounded, least recently used servants out first, but
// never a servant in use or one that holds a change its record lacks.
#include <gtest/gtest.h>

#include <string>

#include "ir/containd.h"
#include "ir/servant_cache.h"
#include "ir_fixture.h"

namespace {

constexpr std::size_t kCapacity = 20;

class CacheTest : public IrTest {
 protected:
  void SetUp() override {
    saved_ = CORBA_Repository_Impl::cache_capacity;
    CORBA_Repository_Impl::cache_capacity = kCapacity;
    IrTest::SetUp();
  }
  void TearDown() override {
    IrTest::TearDown();
    CORBA_Repository_Impl::cache_capacity = saved_;
  }
  std::size_t Cached() { return root_->cache()->size(); }
  // Modules M0 ... M<n-1> at the top level.
  void MakeModules(int n) {
    ext_->ext_beginUserTransaction();  // one commit
    for (int i = 0; i < n; ++i) {
      std::string name = "M" + std::to_string(i);
      CORBA::ModuleDef_var(
          repo_->create_module(Id(name).c_str(), name.c_str(), "1.0"));
    }
    ext_->ext_endUserTransaction();
  }
  // Reads every module through its reference.
  void Walk(int n) {
    for (int i = 0; i < n; ++i) {
      CORBA::Contained_var c =
          repo_->lookup(("::M" + std::to_string(i)).c_str());
      ASSERT_FALSE(CORBA::is_nil(c));
      EXPECT_EQ(Str(c->id()), Id("M" + std::to_string(i)));
    }
  }
  std::size_t saved_ = 0;
};

TEST_F(CacheTest, StaysWithinItsCapacity) {
  MakeModules(200);
  EXPECT_LE(Cached(), kCapacity);
  Walk(200);
  EXPECT_LE(Cached(), kCapacity);
  // References taken before their servants left still work.
  CORBA::Contained_var first = repo_->lookup_id(Id("M0").c_str());
  Walk(200);
  EXPECT_EQ(Str(first->name()), "M0");
  first->name("First");
  Walk(0);
  EXPECT_EQ(
      Str(CORBA::Contained_var(repo_->lookup_id(Id("M0").c_str()))->name()),
      "First");
}

// A servant held by someone (a request in progress, here the test) stays
// the one servant of its definition, however many others pass through.
TEST_F(CacheTest, AServantInUseIsNeverFreedNorDoubled) {
  MakeModules(100);
  Servant_ref<CORBA_Contained_Impl> held(
      irobj_get_from_cache(Id("M0").c_str()));
  if (!held.in()) held = ir_find_object(root_->get_irs(), Id("M0"));
  ASSERT_NE(held.in(), nullptr);
  Walk(100);
  Walk(100);
  Servant_ref<CORBA_Contained_Impl> again(
      ir_find_object(root_->get_irs(), Id("M0")));
  EXPECT_EQ(again.in(), held.in());
  Servant_ref<CORBA_Contained_Impl> by_key(
      irobj_get_from_cache_by_key(held->def_key()));
  EXPECT_EQ(by_key.in(), held.in());
  EXPECT_LE(Cached(), kCapacity + 1);
}

// An access set on a state member lives in its servant until the record
// is rewritten: the servant stays cached until then.
TEST_F(CacheTest, AChangeTheRecordLacksKeepsItsServant) {
  CORBA::ValueDef_var v = Value("V");
  CORBA::ValueMemberDef_var m =
      Member(v, "m", CORBA::PrimitiveDef_var(Prim(CORBA::pk_long)),
             CORBA::PUBLIC_MEMBER);
  m->access(CORBA::PRIVATE_MEMBER);
  MakeModules(100);
  Walk(100);
  EXPECT_EQ(m->access(), CORBA::PRIVATE_MEMBER);
  // Once another change has written the record, the servant may go.
  m->type_def(CORBA::PrimitiveDef_var(Prim(CORBA::pk_short)));
  Walk(100);
  EXPECT_EQ(m->access(), CORBA::PRIVATE_MEMBER);
  Reopen();
  EXPECT_EQ(Find<CORBA::ValueMemberDef>(MemberId(v, "m"))->access(),
            CORBA::PRIVATE_MEMBER);
}

// Containers keep their contents as names and keys, not as servants: a
// large module listed does not hold its contents in memory.
TEST_F(CacheTest, ListingALargeModuleKeepsTheCacheBounded) {
  CORBA::ModuleDef_var big =
      repo_->create_module(Id("Big").c_str(), "Big", "1.0");
  ext_->ext_beginUserTransaction();
  for (int i = 0; i < 300; ++i) {
    std::string name = "T" + std::to_string(i);
    CORBA::ModuleDef_var(
        big->create_module(Id("Big/" + name).c_str(), name.c_str(), "1.0"));
  }
  ext_->ext_endUserTransaction();
  EXPECT_EQ(ContentsOf(big).size(), 300u);
  EXPECT_EQ(IdOf(CORBA::Contained_var(big->lookup("T299"))), Id("Big/T299"));
  CORBA::Container::DescriptionSeq_var d =
      big->describe_contents(CORBA::dk_all, false, -1);
  EXPECT_EQ(d->length(), 300u);
  EXPECT_LE(Cached(), kCapacity + 1);
}

}  // namespace
