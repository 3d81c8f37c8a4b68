// The bulk listings of IRExt: ext_list, ext_search, ext_count_kinds and
// ext_outside_refs, through colocated references.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ir_fixture.h"

namespace {

// "kind name id absolute-name version defined_in contents" per row.
std::vector<std::string> Rows(const IRExt::ExtSummarySeq& items) {
  std::vector<std::string> out;
  for (CORBA::ULong i = 0; i < items.length(); ++i) {
    const IRExt::ExtSummary& s = items[i];
    out.push_back(std::to_string(s.kind) + " " + s.name.in() + " " + s.id.in() +
                  " " + s.absolute_name.in() + " " + s.version.in() + " [" +
                  s.defined_in.in() + "] " + std::to_string(s.contents));
  }
  return out;
}

class ListingTest : public IrTest {
 protected:
  void SetUp() override {
    IrTest::SetUp();
    m_ = repo_->create_module("IDL:M:1.0", "M", "2.5");
    itf_ = m_->create_interface("IDL:M/Itf:1.0", "Itf", "1.0",
                                CORBA::InterfaceDefSeq());
    op_ = VoidOp(itf_, "ping");
    s_ = m_->create_struct("IDL:M/S:1.0", "S", std::string(300, 'v').c_str(),
                           Fields({{"l", Prim(CORBA::pk_long)}}));
  }
  CORBA::ModuleDef_var m_;
  CORBA::InterfaceDef_var itf_;
  CORBA::OperationDef_var op_;
  CORBA::StructDef_var s_;
};

TEST_F(ListingTest, ListShowsChildrenWithoutReferences) {
  IRExt::ExtPage_var top = ext_->ext_list("", 0, 0);
  EXPECT_EQ(top->total, 2u);  // Object and M
  EXPECT_EQ(Rows(top->items), (std::vector<std::string>{
                                  "5 Object IDL:Object:1.0 ::Object 1.0 [] 0",
                                  "6 M IDL:M:1.0 ::M 2.5 [] 2"}));
  IRExt::ExtPage_var inside = ext_->ext_list("IDL:M:1.0", 0, 0);
  // A version too long for the head of the record is read in full.
  EXPECT_EQ(Rows(inside->items),
            (std::vector<std::string>{
                "5 Itf IDL:M/Itf:1.0 ::M::Itf 1.0 [IDL:M:1.0] 1",
                "10 S IDL:M/S:1.0 ::M::S " + std::string(300, 'v') +
                    " [IDL:M:1.0] 0"}));
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x55),
               IRExt::ExtPage_var(ext_->ext_list("IDL:none:1.0", 0, 0)));
  EXPECT_BAD_ARG(IRExt::ExtPage_var(ext_->ext_list(nullptr, 0, 0)));
}

TEST_F(ListingTest, PagesCountTheWholeList) {
  for (int i = 0; i < 7; ++i) {
    std::string n = "P" + std::to_string(i);
    CORBA::ModuleDef_var(
        m_->create_module(("IDL:M/" + n + ":1.0").c_str(), n.c_str(), "1.0"));
  }
  struct Case {
    CORBA::ULong offset, limit;
    std::vector<std::string> names;
  } cases[] = {
      {0, 3, {"Itf", "S", "P0"}},
      {3, 3, {"P1", "P2", "P3"}},
      {8, 3, {"P6"}},
      {9, 3, {}},
      {100, 0, {}},
      {7, 0, {"P5", "P6"}},
  };
  for (const Case& c : cases) {
    IRExt::ExtPage_var page = ext_->ext_list("IDL:M:1.0", c.offset, c.limit);
    EXPECT_EQ(page->total, 9u);
    std::vector<std::string> names;
    for (CORBA::ULong i = 0; i < page->items.length(); ++i)
      names.push_back(page->items[i].name.in());
    EXPECT_EQ(names, c.names) << c.offset << "+" << c.limit;
  }
}

TEST_F(ListingTest, SearchByNameOrIdInAnyCaseAndKind) {
  struct Case {
    const char* pattern;
    const char* scope;
    bool ids, nocase;
    const char* kinds;
    Ids expected;
  } cases[] = {
      {"*",
       "",
       false,
       false,
       "Operation,Struct",
       {"IDL:Itf/ping:1.0", "IDL:M/S:1.0"}},
      {"itf", "", false, false, "", {}},
      {"itf", "", false, true, "", {"IDL:M/Itf:1.0"}},
      {"IDL:m/*", "", true, true, "interface", {"IDL:M/Itf:1.0"}},
      {"*", "IDL:M/Itf:1.0", false, false, "", {"IDL:Itf/ping:1.0"}},
  };
  for (const Case& c : cases) {
    IRExt::ExtPage_var page =
        ext_->ext_search(c.pattern, c.scope, c.ids, c.nocase, c.kinds, 0, 0);
    Ids ids;
    for (CORBA::ULong i = 0; i < page->items.length(); ++i)
      ids.push_back(page->items[i].id.in());
    EXPECT_EQ(ids, c.expected) << c.pattern << " in " << c.scope;
    EXPECT_EQ(page->total, c.expected.size());
  }
  IRExt::ExtPage_var op = ext_->ext_search("ping", "", false, false, "", 0, 0);
  ASSERT_EQ(op->items.length(), 1u);
  EXPECT_STREQ(op->items[0].absolute_name.in(), "::M::Itf::ping");
  EXPECT_STREQ(op->items[0].defined_in.in(), "IDL:M/Itf:1.0");
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x55),
               IRExt::ExtPage_var(
                   ext_->ext_search("*", "IDL:none:1.0", 0, 0, "", 0, 0)));
  EXPECT_BAD_ARG(IRExt::ExtPage_var(
      ext_->ext_search("*", "", false, false, "Bogus", 0, 0)));
  EXPECT_BAD_ARG(IRExt::ExtPage_var(
      ext_->ext_search(nullptr, "", false, false, "", 0, 0)));
}

TEST_F(ListingTest, CountKindsFollowsChanges) {
  auto counts = [&] {
    IRExt::ExtKindCountSeq_var seq = ext_->ext_count_kinds();
    std::vector<std::string> out;
    for (CORBA::ULong i = 0; i < seq->length(); ++i)
      out.push_back(std::to_string(seq[i].kind) + ":" +
                    std::to_string(seq[i].count));
    return out;
  };
  EXPECT_EQ(counts(), (std::vector<std::string>{"5:2", "6:1", "7:1", "10:1"}));
  itf_->destroy();
  EXPECT_EQ(counts(), (std::vector<std::string>{"5:1", "6:1", "10:1"}));
}

TEST_F(ListingTest, OutsideRefsNameTheUsersLeftDangling) {
  CORBA::ModuleDef_var user = repo_->create_module("IDL:U:1.0", "U", "1.0");
  CORBA::InterfaceDefSeq bases;
  Append(bases, itf_);
  CORBA::InterfaceDef_var derived =
      user->create_interface("IDL:U/D:1.0", "D", "1.0", bases);
  CORBA::AttributeDef_var attr = Attr(derived, "s", s_);
  CORBA::AliasDef_var alias = user->create_alias("IDL:U/A:1.0", "A", "1.0", s_);
  // Inside the subtree: the struct used by the interface's own operation
  // is not an outside reference.
  CORBA::OperationDef_var inner = Op(itf_, "get", s_);

  IRExt::Contained_var ext_m = Find<IRExt::Contained>("IDL:M:1.0");
  IRExt::ExtReferenceSeq_var refs = ext_m->ext_outside_refs();
  std::vector<std::string> got;
  for (CORBA::ULong i = 0; i < refs->length(); ++i)
    got.push_back(std::string(refs[i].user.absolute_name.in()) + " -> " +
                  refs[i].used.in());
  EXPECT_EQ(got, (std::vector<std::string>{"::U::D -> IDL:M/Itf:1.0",
                                           "::U::D::s -> IDL:M/S:1.0",
                                           "::U::A -> IDL:M/S:1.0"}));
  ASSERT_EQ(refs->length(), 3u);
  EXPECT_EQ(refs[0].user.kind, CORBA::dk_Interface);
  EXPECT_STREQ(refs[0].user.id.in(), "IDL:U/D:1.0");

  IRExt::Contained_var ext_u = Find<IRExt::Contained>("IDL:U:1.0");
  EXPECT_EQ(IRExt::ExtReferenceSeq_var(ext_u->ext_outside_refs())->length(),
            0u);
  user->destroy();
  EXPECT_EQ(IRExt::ExtReferenceSeq_var(ext_m->ext_outside_refs())->length(),
            0u);
}

}  // namespace
