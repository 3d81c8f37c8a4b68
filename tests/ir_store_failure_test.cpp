// What a failing disk does to the repository: every changing operation,
// alone and inside user transactions, with each write or sync of its
// commit failing in turn and with a full disk.  The client must get
// PERSIST_STORE; the repository must be exactly as before (what the
// servants show and what the store holds, the transaction flag
// included); the next call must work.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "failing_vfs.h"
#include "ir/containr.h"
#include "ir_fixture.h"

namespace {

// A TypeCode as text, down to `depth` levels of members.
std::string TcText(CORBA::TypeCode_ptr tc, int depth = 3) {
  if (CORBA::is_nil(tc)) return "nil";
  std::string out = std::to_string(tc->kind());
  try {
    out += ":" + std::string(tc->id()) + ":" + tc->name();
  } catch (const CORBA::TypeCode::BadKind&) {
  }
  if (depth == 0) return out;
  try {
    out += "{";
    for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
      CORBA::TypeCode_var m = tc->member_type(i);
      out += std::string(tc->member_name(i)) + "=" + TcText(m, depth - 1) + ",";
    }
    out += "}";
  } catch (const CORBA::TypeCode::BadKind&) {
    out.pop_back();
  }
  try {
    CORBA::TypeCode_var content = tc->content_type();
    out += "<" + TcText(content, depth - 1) + ">";
  } catch (const CORBA::TypeCode::BadKind&) {
  }
  return out;
}

template <class Seq>
std::string IdList(const Seq& seq) {
  std::string out;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) out += IdOf(seq[i]) + " ";
  return out;
}

class StoreFailureTest : public IrTest {
 protected:
  void SetUp() override {
    IrTest::SetUp();
    m_ = repo_->create_module("IDL:M:1.0", "M", "1.0");
    i_ = m_->create_interface("IDL:M/I:1.0", "I", "1.0",
                              CORBA::InterfaceDefSeq());
    CORBA::PrimitiveDef_var lng = Prim(CORBA::pk_long);
    s_ = m_->create_struct("IDL:M/S:1.0", "S", "1.0", Fields({{"a", lng}}));
    op_ = Op(i_, "op", s_);
    attr_ = Attr(i_, "at", s_);
    e_ = m_->create_enum("IDL:M/E:1.0", "E", "1.0", EnumMembers({"x", "y"}));
    alias_ = m_->create_alias("IDL:M/A:1.0", "A", "1.0", s_);
    x_ = m_->create_exception("IDL:M/X:1.0", "X", "1.0", Fields({{"w", s_}}));
    v_ = Value("M/V", ValueArgs(), m_);
    vm_ = Member(v_, "m", s_);
  }

  // Everything a client can see, as text, or the exception that a client
  // would get.  (The servants it builds stay cached, so that a servant
  // changed by a failed call would show.)
  std::string Dump() {
    try {
      return DumpOrThrow();
    } catch (const CORBA::SystemException& e) {
      return std::string("raised ") + e._name();
    }
  }
  std::string DumpOrThrow() {
    std::string out =
        std::string("TransOn ") + (TransOn ? "1" : "0") + " store " +
        (root_->get_irs()->IRInUserTransaction() ? "1" : "0") + "\n";
    IRExt::ExtPage_var all = ext_->ext_search("*", "", true, false, "", 0, 0);
    for (CORBA::ULong i = 0; i < all->items.length(); ++i) {
      const IRExt::ExtSummary& row = all->items[i];
      out += std::to_string(row.kind) + " " + row.id.in() + " " +
             row.name.in() + " " + row.absolute_name.in() + " " +
             row.version.in() + " in " + row.defined_in.in() + " (" +
             std::to_string(row.contents) + ")";
      CORBA::Contained_var c = repo_->lookup_id(row.id);
      if (CORBA::is_nil(c)) {
        out += " NOT FOUND\n";
        continue;
      }
      IRExt::Contained_var ext = IRExt::Contained::_narrow(c);
      out += " #" + Str(ext->ext_get_comment());
      if (CORBA::IDLType_var t = CORBA::IDLType::_narrow(c); !CORBA::is_nil(t))
        out += " type " + TcText(CORBA::TypeCode_var(t->type()));
      if (auto o = CORBA::OperationDef::_narrow(c); !CORBA::is_nil(o)) {
        CORBA::OperationDef_var op = o;
        out += " result " + TcText(CORBA::TypeCode_var(op->result())) +
               " mode " + std::to_string(op->mode());
        CORBA::ParDescriptionSeq_var params = op->params();
        for (CORBA::ULong p = 0; p < params->length(); ++p)
          out += " param " + std::string(params[p].name.in()) +
                 TcText(params[p].type);
        CORBA::ExceptionDefSeq_var exc = op->exceptions();
        out += " raises " + IdList(exc.in());
      }
      if (auto a = CORBA::AttributeDef::_narrow(c); !CORBA::is_nil(a)) {
        CORBA::AttributeDef_var at = a;
        out += " attr " + TcText(CORBA::TypeCode_var(at->type())) + " " +
               std::to_string(at->mode());
      }
      if (auto itf = CORBA::InterfaceDef::_narrow(c); !CORBA::is_nil(itf)) {
        CORBA::InterfaceDef_var in = itf;
        CORBA::InterfaceDefSeq_var bases = in->base_interfaces();
        out += " bases " + IdList(bases.in());
      }
      if (auto v = CORBA::ValueDef::_narrow(c); !CORBA::is_nil(v)) {
        CORBA::ValueDef_var val = v;
        CORBA::InterfaceDefSeq_var sup = val->supported_interfaces();
        CORBA::InitializerSeq_var inits = val->initializers();
        out += " custom " + std::to_string(val->is_custom()) + " supports " +
               IdList(sup.in()) + " inits " + std::to_string(inits->length());
      }
      if (auto vm = CORBA::ValueMemberDef::_narrow(c); !CORBA::is_nil(vm)) {
        CORBA::ValueMemberDef_var member = vm;
        out += " access " + std::to_string(member->access());
      }
      if (auto con = CORBA::Container::_narrow(c); !CORBA::is_nil(con)) {
        CORBA::Container_var container = con;
        out +=
            " contents " + IdList(CORBA::ContainedSeq_var(
                                      container->contents(CORBA::dk_all, true))
                                      .in());
      }
      out += "\n";
    }
    return out;
  }

  // Runs `change` with the n-th write or sync from now failing as
  // `fault`, for n = 1, 2, ... until it succeeds.  Each failure must be
  // PERSIST_STORE and leave the repository as it was, both in what the
  // servants show and in what the store holds (the servants forgotten).
  // Returns the number of failures.
  int FailEachInTurn(FailingVfs::Fault fault,
                     const std::function<void()>& change, int max_n = 100) {
    // What the store holds: servants keep the TypeCodes of the types they
    // use as those were when they were built.
    root_->forget_servants();
    const std::string before = Dump();
    for (int n = 1; n <= max_n; ++n) {
      vfs_.arm(fault, n);
      bool done = false;
      try {
        change();
        done = true;
      } catch (const CORBA::PERSIST_STORE& e) {
        EXPECT_EQ(e.minor(), IrMinor(0x56));
      } catch (const CORBA::SystemException& e) {
        ADD_FAILURE() << "failure " << n << " raised " << e._name()
                      << " minor 0x" << std::hex << e.minor();
      }
      const bool fired = vfs_.fired();
      vfs_.disarm();
      if (done) {
        EXPECT_FALSE(fired && fault == FailingVfs::kDiskFull)
            << "succeeded on a full disk";
        return n - 1;
      }
      EXPECT_EQ(Dump(), before) << "after failure " << n;
      root_->forget_servants();
      EXPECT_EQ(Dump(), before) << "from the store after failure " << n;
    }
    if (max_n < 100) {
      change();  // the disk is back
      return max_n;
    }
    ADD_FAILURE() << "never succeeded";
    return -1;
  }

  struct Change {
    const char* what;
    std::function<void()> run;
    std::function<void()> prepare = [] {};
  };
  // Every kind of change, each once; `k` tells the names of one set of
  // changes from another's.
  std::vector<Change> Changes(int k);

  FailingVfs vfs_;  // made before the repository opens its database
  CORBA::ModuleDef_var m_;
  CORBA::InterfaceDef_var i_;
  CORBA::StructDef_var s_;
  CORBA::OperationDef_var op_;
  CORBA::AttributeDef_var attr_;
  CORBA::EnumDef_var e_;
  CORBA::AliasDef_var alias_;
  CORBA::ExceptionDef_var x_;
  CORBA::ValueDef_var v_;
  CORBA::ValueMemberDef_var vm_;
};

std::vector<StoreFailureTest::Change> StoreFailureTest::Changes(int k) {
  auto id = [k](const char* name) {
    return "IDL:M/" + std::string(name) + std::to_string(k) + ":1.0";
  };
  auto nm = [k](const char* name) { return name + std::to_string(k); };
  CORBA::Repository_ptr repo = repo_;
  CORBA::ModuleDef_ptr m = m_;
  CORBA::InterfaceDef_ptr i = i_;
  CORBA::StructDef_ptr s = s_;
  CORBA::OperationDef_ptr op = op_;
  CORBA::AttributeDef_ptr attr = attr_;
  CORBA::EnumDef_ptr e = e_;
  CORBA::AliasDef_ptr alias = alias_;
  CORBA::ExceptionDef_ptr x = x_;
  CORBA::ValueDef_ptr v = v_;
  CORBA::ValueMemberDef_ptr vm = vm_;
  CORBA::PrimitiveDef_var lng = repo->get_primitive(CORBA::pk_long);
  CORBA::PrimitiveDef_var str = repo->get_primitive(CORBA::pk_string);
  // What a change needs made beforehand, outside the failures.
  auto base = std::make_shared<CORBA::InterfaceDef_var>();
  auto doomed = std::make_shared<CORBA::ModuleDef_var>();
  return {
      {"create_module",
       [=] {
         CORBA::ModuleDef_var(
             m->create_module(id("N").c_str(), nm("N").c_str(), "1.0"));
       }},
      {"create_interface",
       [=] {
         CORBA::InterfaceDefSeq bases;
         Append(bases, i);
         CORBA::InterfaceDef_var(m->create_interface(
             id("J").c_str(), nm("J").c_str(), "1.0", bases));
       }},
      {"create_struct",
       [=] {
         CORBA::StructDef_var(
             m->create_struct(id("T").c_str(), nm("T").c_str(), "1.0",
                              Fields({{"s", s}, {"l", lng.in()}})));
       }},
      {"create_enum",
       [=] {
         CORBA::EnumDef_var(m->create_enum(id("F").c_str(), nm("F").c_str(),
                                           "1.0", EnumMembers({"p", "q"})));
       }},
      {"create_alias",
       [=] {
         CORBA::AliasDef_var(
             m->create_alias(id("B").c_str(), nm("B").c_str(), "1.0", s));
       }},
      {"create_exception",
       [=] {
         CORBA::ExceptionDef_var(m->create_exception(
             id("Y").c_str(), nm("Y").c_str(), "1.0", Fields({{"s", s}})));
       }},
      {"create_native",
       [=] {
         CORBA::NativeDef_var(
             m->create_native(id("Nat").c_str(), nm("Nat").c_str(), "1.0"));
       }},
      {"create_constant",
       [=] {
         CORBA::ConstantDef_var(m->create_constant(id("C").c_str(),
                                                   nm("C").c_str(), "1.0", lng,
                                                   AnyOf(CORBA::Long(k))));
       }},
      {"create_value_box",
       [=] {
         CORBA::ValueBoxDef_var(m->create_value_box(
             id("Box").c_str(), nm("Box").c_str(), "1.0", s));
       }},
      {"create_attribute",
       [=] {
         CORBA::AttributeDef_var(i->create_attribute(
             id("at").c_str(), nm("at").c_str(), "1.0", s, CORBA::ATTR_NORMAL));
       }},
      {"create_operation",
       [=] {
         CORBA::ExceptionDefSeq exc;
         Push(exc, CORBA::ExceptionDef::_duplicate(x));
         CORBA::ParDescriptionSeq params;
         Push(params, Param("p", s, CORBA::PARAM_IN));
         CORBA::OperationDef_var(i->create_operation(
             id("op").c_str(), nm("op").c_str(), "1.0", s, CORBA::OP_NORMAL,
             params, exc, CORBA::ContextIdSeq()));
       }},
      {"create_value_member",
       [=] {
         CORBA::ValueMemberDef_var(
             v->create_value_member(id("vm").c_str(), nm("vm").c_str(), "1.0",
                                    s, CORBA::PRIVATE_MEMBER));
       }},
      {"struct members",
       [=] {
         s->members(Fields({{"z", str.in()}}));
       }},
      {"enum members",
       [=] {
         e->members(EnumMembers({"x", "y", "z"}));
       }},
      {"alias original", [=] { alias->original_type_def(lng); }},
      {"exception members",
       [=] {
         x->members(Fields({{"l", lng.in()}}));
       }},
      {"base_interfaces",
       [=] {
         CORBA::InterfaceDefSeq bases;
         Append(bases, *base);
         i->base_interfaces(bases);
       },
       [=] {
         *base = m->create_interface(id("Base").c_str(), nm("Base").c_str(),
                                     "1.0", CORBA::InterfaceDefSeq());
       }},
      {"operation result", [=] { op->result_def(lng); }},
      {"operation params",
       [=] {
         CORBA::ParDescriptionSeq params;
         Push(params, Param("q", str, CORBA::PARAM_OUT));
         op->params(params);
       }},
      {"operation exceptions",
       [=] {
         CORBA::ExceptionDefSeq exc;
         Push(exc, CORBA::ExceptionDef::_duplicate(x));
         op->exceptions(exc);
       }},
      {"attribute type", [=] { attr->type_def(str); }},
      {"attribute mode",
       [=] { attr->mode(k % 2 ? CORBA::ATTR_READONLY : CORBA::ATTR_NORMAL); }},
      {"value flags", [=] { v->is_custom(k % 2 == 1); }},
      {"value supports",
       [=] {
         CORBA::InterfaceDefSeq sup;
         Append(sup, i);
         v->supported_interfaces(sup);
       }},
      {"value initializers",
       [=] {
         CORBA::InitializerSeq inits;
         Push(inits, Init("make", {{"a", s}}));
         v->initializers(inits);
       }},
      {"value member type", [=] { vm->type_def(lng); }},
      {"version", [=] { s->version(("3." + std::to_string(k)).c_str()); }},
      {"comment",
       [=] {
         IRExt::StructDef_var ext = IRExt::StructDef::_narrow(s);
         ext->ext_set_comment(("comment " + std::to_string(k)).c_str());
       }},
      {"name", [=] { s->name(nm("S").c_str()); }},
      {"id of a used type", [=] { s->id(id("S").c_str()); }},
      {"destroy", [=] { (*doomed)->destroy(); },
       [=] {
         *doomed = m->create_module(id("D").c_str(), nm("D").c_str(), "1.0");
         CORBA::ModuleDef_var((*doomed)->create_module(
             id("DD").c_str(), nm("DD").c_str(), "1.0"));
       }},
  };
}

// Each write and each sync of every change fails in turn; the disk fills
// up at the first write of each.
TEST_F(StoreFailureTest, EveryChangeFailsCleanlyAtEveryWriteAndSync) {
  int k = 0;
  for (FailingVfs::Fault fault :
       {FailingVfs::kWriteError, FailingVfs::kSyncError,
        FailingVfs::kDiskFull}) {
    ++k;
    for (const Change& c : Changes(k)) {
      SCOPED_TRACE(std::string(c.what) + " fault " + std::to_string(fault));
      try {
        c.prepare();
        EXPECT_GT(FailEachInTurn(fault, c.run,
                                 fault == FailingVfs::kDiskFull ? 1 : 100),
                  0);
      } catch (const CORBA::SystemException& e) {
        ADD_FAILURE() << "raised " << e._name() << " minor 0x" << std::hex
                      << e.minor();
      }
    }
  }
}

// A user transaction whose end fails to commit is lost: SQLite rolls it
// back.  The client hears it from the end, from every later change and
// from the cancel, which closes it; nothing shows its changes any more,
// and the repository is as before the transaction.  Each write and sync
// of the commit fails in turn, and the disk fills up.
TEST_F(StoreFailureTest, AFailedEndLosesTheTransactionAndSaysSo) {
  int k = 20;
  for (FailingVfs::Fault fault :
       {FailingVfs::kWriteError, FailingVfs::kSyncError,
        FailingVfs::kDiskFull}) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE("fault " + std::to_string(fault) + " at " +
                   std::to_string(n));
      root_->forget_servants();
      const std::string before = Dump();
      ext_->ext_beginUserTransaction();
      for (const Change& c : Changes(++k)) {
        c.prepare();
        c.run();
      }
      vfs_.arm(fault, n);
      try {
        ext_->ext_endUserTransaction();
        vfs_.disarm();
        EXPECT_GT(n, 1);
        EXPECT_FALSE(TransOn);
        break;
      } catch (const CORBA::PERSIST_STORE&) {
      }
      vfs_.disarm();
      EXPECT_TRUE(TransOn);
      EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56), s_->version("9.9"));
      EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56),
                   ext_->ext_endUserTransaction());
      EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56),
                   ext_->ext_cancelUserTransaction());
      EXPECT_FALSE(TransOn);
      EXPECT_EQ(Dump(), before);
      ASSERT_LT(n, 50);
    }
  }
}

// A transaction too large for SQLite's page cache reaches the disk before
// its end; a failure then makes SQLite roll the whole transaction back.
// The client learns it from every later change, from the end and from
// the cancel, which closes it; the repository is as before the
// transaction and the next transaction works.
TEST_F(StoreFailureTest, ATransactionLostToTheDiskIsReportedUntilCancelled) {
  const std::string before = Dump();
  ext_->ext_beginUserTransaction();
  vfs_.arm(FailingVfs::kWriteError, 1);
  // Long member names fill the page cache quickly.
  CORBA::PrimitiveDef_var lng = Prim(CORBA::pk_long);
  CORBA::StructMemberSeq members = Fields(Typed(200, {"", lng.in()}));
  int created = 0;
  try {
    for (; created < 2000; ++created) {
      for (CORBA::ULong f = 0; f < members.length(); ++f)
        members[f].name = (std::string(200, 'a' + f % 26) +
                           std::to_string(created * 1000 + f))
                              .c_str();
      std::string n = "Big" + std::to_string(created);
      CORBA::StructDef_var(repo_->create_struct(("IDL:" + n + ":1.0").c_str(),
                                                n.c_str(), "1.0", members));
    }
    ADD_FAILURE() << "the page cache never spilled";
  } catch (const CORBA::PERSIST_STORE&) {
  } catch (const CORBA::SystemException& e) {
    ADD_FAILURE() << e._name() << " minor 0x" << std::hex << e.minor()
                  << " after " << std::dec << created;
  }
  vfs_.disarm();
  ASSERT_GT(created, 0);
  EXPECT_TRUE(TransOn);
  EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56),
               CORBA::ModuleDef_var(
                   repo_->create_module("IDL:After:1.0", "After", "1.0")));
  EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56), s_->version("9.9"));
  EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56), ext_->ext_endUserTransaction());
  EXPECT_TRUE(TransOn);
  EXPECT_SYSEX(PERSIST_STORE, IrMinor(0x56), ext_->ext_cancelUserTransaction());
  EXPECT_FALSE(TransOn);
  EXPECT_EQ(Dump(), before);
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_cancelUserTransaction());

  ext_->ext_beginUserTransaction();
  CORBA::ModuleDef_var after =
      repo_->create_module("IDL:After:1.0", "After", "1.0");
  ext_->ext_endUserTransaction();
  Reopen();
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup("::After"))),
            "IDL:After:1.0");
  EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(repo_->lookup("::Big0"))));
}

}  // namespace
