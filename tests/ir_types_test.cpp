// The type layer: primitive and anonymous types, in-line type references,
// named types behind anonymous ones, recursive TypeCodes, and the
// repository's lookups and anonymous-type factory.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ir/anontype.h"
#include "ir/arraydf.h"
#include "ir/primitdf.h"
#include "ir/sequendf.h"
#include "ir/servant_locator.h"
#include "ir/stringdf.h"
#include "ir/typedf.h"
#include "ir_fixture.h"
#include "orb_main.h"

namespace {

class TypeTest : public IrTest {
 protected:
  // The in-line form of `type` as written into a record body.
  std::vector<std::uint8_t> Write(CORBA::IDLType_ptr type) {
    EncapIIOP out;
    narrow_and_continue_streaming(type, out);
    return out.bytes();
  }

  // A record body made by `fill`.
  static std::vector<std::uint8_t> Body(
      const std::function<void(Encapsulation&)>& fill) {
    EncapIIOP out;
    fill(out);
    return out.bytes();
  }

  CORBA::IDLType_ptr Read(const std::vector<std::uint8_t>& body) {
    EncapIIOP in(body);
    return get_next_object(in, root_->get_irs());
  }

  // The servant behind `ref` (one reference held by the result).
  static Servant_ref<CORBA_IDLType_Impl> ServantOf(CORBA::Object_ptr ref) {
    CORBA_IRObject_Impl* s = ir_servant_of(ref);
    CORBA_IDLType_Impl* t = CORBA_IDLType_Impl::_narrow(s);
    if (!t && s) s->_remove_ref();
    return Servant_ref<CORBA_IDLType_Impl>(t);
  }
};

using PrimitiveTest = TypeTest;
using AnonymousTypeTest = TypeTest;
using InlineTypeTest = TypeTest;
using RecursiveTypeTest = TypeTest;
using LookupTest = TypeTest;

// --- primitives ------------------------------------------------------------

TEST_F(PrimitiveTest, PrimitivesAreFixedObjectsOfEveryKind) {
  // By kind; nil where the kind is refused (18 and beyond 20).
  const CORBA::TypeCode_ptr tcs[] = {CORBA::_tc_null,
                                     CORBA::_tc_void,
                                     CORBA::_tc_short,
                                     CORBA::_tc_long,
                                     CORBA::_tc_ushort,
                                     CORBA::_tc_ulong,
                                     CORBA::_tc_float,
                                     CORBA::_tc_double,
                                     CORBA::_tc_boolean,
                                     CORBA::_tc_char,
                                     CORBA::_tc_octet,
                                     CORBA::_tc_any,
                                     CORBA::_tc_TypeCode,
                                     CORBA::_tc_Principal,
                                     CORBA::_tc_string,
                                     CORBA::_tc_Object,
                                     CORBA::_tc_longlong,
                                     CORBA::_tc_ulonglong,
                                     nullptr,
                                     CORBA::_tc_wchar,
                                     CORBA::_tc_wstring,
                                     nullptr};
  for (CORBA::ULong n = 0; n < 22; ++n) {
    SCOPED_TRACE("kind " + std::to_string(n));
    auto k = static_cast<CORBA::PrimitiveKind>(n);
    if (!tcs[n]) {
      EXPECT_BAD_ARG(CORBA::PrimitiveDef_var(repo_->get_primitive(k)));
      EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), new CORBA_PrimitiveDef_Impl(k));
      continue;
    }
    CORBA::PrimitiveDef_var p = repo_->get_primitive(k);
    ASSERT_FALSE(CORBA::is_nil(p));
    EXPECT_EQ(p->def_kind(), CORBA::dk_Primitive);
    EXPECT_EQ(static_cast<CORBA::ULong>(p->kind()), n);
    EXPECT_TRUE(TypeOf(p)->equal(tcs[n]));
    EXPECT_TRUE(
        CORBA::PrimitiveDef_var(repo_->get_primitive(k))->_is_equivalent(p));
  }
  // Destroy is refused; a primitive is no typedef.
  CORBA::PrimitiveDef_var p = repo_->get_primitive(CORBA::pk_long);
  EXPECT_BAD_ARG(p->destroy());
  EXPECT_EQ(p->kind(), CORBA::pk_long);
  Servant_ref<CORBA_IDLType_Impl> s = ServantOf(p);
  ASSERT_NE(s.in(), nullptr);
  EXPECT_EQ(CORBA_TypedefDef_Impl::_narrow(s.in()), nullptr);
  EXPECT_EQ(CORBA_SequenceDef_Impl::_narrow(s.in()), nullptr);
  EXPECT_NE(CORBA_PrimitiveDef_Impl::_narrow(s.in()), nullptr);

  // objref, the twentieth, keeps its reference across a reopen.
  CORBA::PrimitiveDef_var objref = repo_->get_primitive(CORBA::pk_objref);
  CORBA::String_var ior = test_orb()->object_to_string(objref);
  Reopen();
  CORBA::Object_var obj = test_orb()->string_to_object(ior);
  CORBA::PrimitiveDef_var again = CORBA::PrimitiveDef::_narrow(obj);
  ASSERT_FALSE(CORBA::is_nil(again));
  EXPECT_EQ(again->kind(), CORBA::pk_objref);
  EXPECT_TRUE(TypeOf(again)->equal(CORBA::_tc_Object));
}

// --- cached TypeCode
// -----------------------------------------------------------

TEST_F(TypeTest, CachedTypeCodeSetter) {
  Servant_ref<CORBA_StringDef_Impl> s(new CORBA_StringDef_Impl(4));
  CORBA::TypeCode_ptr before = s->cached_type();
  ASSERT_FALSE(CORBA::is_nil(before));
  s->type(before);  // the same pointer: nothing changes, nothing released
  EXPECT_EQ(s->cached_type(), before);
  EXPECT_EQ(before->length(), 4u);
  EXPECT_BAD_ARG(s->type(CORBA::TypeCode::_nil()));

  Servant_ref<CORBA_IDLType_Impl> bare(
      new CORBA_PrimitiveDef_Impl(CORBA::pk_long));
  EXPECT_TRUE(TypeOf(bare)->equal(CORBA::_tc_long));
}

// --- strings, sequences and arrays
// ---------------------------------------------------

TEST_F(AnonymousTypeTest, BoundSettersKeepTheTypeCodeOfAnUnchangedValue) {
  EXPECT_BAD_ARG(CORBA::StringDef_var(repo_->create_string(0)));
  EXPECT_BAD_ARG(CORBA::WstringDef_var(repo_->create_wstring(0)));
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StringDef_var s = repo_->create_string(5);
  CORBA::WstringDef_var w = repo_->create_wstring(5);
  CORBA::SequenceDef_var seq = repo_->create_sequence(5, l);
  CORBA::ArrayDef_var arr = repo_->create_array(5, l);
  struct Case {
    CORBA::IDLType_ptr type;
    CORBA::DefinitionKind kind;
    CORBA::TCKind tc_kind;
    std::function<void(CORBA::ULong)> set;
    bool zero_ok;
  } cases[] = {
      {s, CORBA::dk_String, CORBA::tk_string,
       [&](CORBA::ULong n) { s->bound(n); }, false},
      {w, CORBA::dk_Wstring, CORBA::tk_wstring,
       [&](CORBA::ULong n) { w->bound(n); }, false},
      {seq, CORBA::dk_Sequence, CORBA::tk_sequence,
       [&](CORBA::ULong n) { seq->bound(n); }, true},
      {arr, CORBA::dk_Array, CORBA::tk_array,
       [&](CORBA::ULong n) { arr->length(n); }, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.kind);
    EXPECT_EQ(c.type->def_kind(), c.kind);
    Servant_ref<CORBA_IDLType_Impl> servant = ServantOf(c.type);
    CORBA::TypeCode_ptr before = servant->cached_type();
    c.set(5);
    EXPECT_EQ(servant->cached_type(), before);
    if (!c.zero_ok) {
      EXPECT_BAD_ARG(c.set(0));
      EXPECT_EQ(TypeOf(c.type)->length(), 5u);
    }
    c.set(c.zero_ok ? 0 : 9);
    EXPECT_EQ(TypeOf(c.type)->kind(), c.tc_kind);
    EXPECT_EQ(TypeOf(c.type)->length(), c.zero_ok ? 0u : 9u);
  }
  EXPECT_TRUE(CORBA::TypeCode_var(seq->element_type())->equal(CORBA::_tc_long));
  EXPECT_TRUE(CORBA::IDLType_var(seq->element_type_def())->_is_equivalent(l));
  CORBA::StringDef_var s5 = repo_->create_string(5);
  seq->element_type_def(s5);
  EXPECT_EQ(TcAt(TypeOf(seq), {-1})->kind(), CORBA::tk_string);
  EXPECT_EQ(TcAt(TypeOf(seq), {-1})->length(), 5u);
  // Two creates give two objects.
  CORBA::SequenceDef_var other = repo_->create_sequence(0, s5);
  EXPECT_FALSE(other->_is_equivalent(seq));
  // Anonymous objects go with their last reference.
  s->destroy();
  seq->destroy();
  EXPECT_EQ(s->bound(), 9u);
  EXPECT_EQ(seq->bound(), 0u);
}

// Element types that are not types of this repository, for both the
// factory and the setters.
TEST_F(AnonymousTypeTest, ElementMustBeAType) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var not_a_type = CORBA::IDLType::_unchecked_narrow(m);
  CORBA::IDLType_var nil = CORBA::IDLType::_nil();
  CORBA::SequenceDef_var seq = repo_->create_sequence(1, l);
  CORBA::ArrayDef_var arr = repo_->create_array(1, l);
  for (CORBA::IDLType_ptr bad : {nil.in(), not_a_type.in()}) {
    EXPECT_BAD_ARG(CORBA::SequenceDef_var(repo_->create_sequence(1, bad)));
    EXPECT_BAD_ARG(CORBA::ArrayDef_var(repo_->create_array(1, bad)));
    EXPECT_BAD_ARG(seq->element_type_def(bad));
    EXPECT_BAD_ARG(arr->element_type_def(bad));
  }
  CORBA::TypeCode_var tc = seq->element_type();
  EXPECT_TRUE(tc->equal(CORBA::_tc_long));
  // Nor one that has gone.
  CORBA::InterfaceDef_var i = Itf("I");
  i->destroy();
  EXPECT_BAD_ARG(CORBA::SequenceDef_var(repo_->create_sequence(0, i)));
}

TEST_F(AnonymousTypeTest, ElementMayNotContainItself) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::SequenceDef_var outer = repo_->create_sequence(0, l);
  CORBA::ArrayDef_var middle = repo_->create_array(2, outer);
  CORBA::SequenceDef_var top = repo_->create_sequence(0, middle);
  EXPECT_BAD_ARG(outer->element_type_def(top));
  EXPECT_BAD_ARG(outer->element_type_def(outer));
  EXPECT_BAD_ARG(middle->element_type_def(top));
  // The chain is intact and still written out in full.
  CORBA::IDLType_var back = Read(Write(top));
  CORBA::TypeCode_var a = back->type(), b = top->type();
  EXPECT_TRUE(a->equal(b));
}

TEST_F(AnonymousTypeTest, ReferencesOutliveTheAnonymousTable) {
  CORBA::StringDef_var s3 = repo_->create_string(3);
  CORBA::SequenceDef_var seq = repo_->create_sequence(8, s3);
  ir_flush_anonymous();
  // Rebuilt from the in-line form carried by the object id.
  EXPECT_EQ(seq->bound(), 8u);
  EXPECT_EQ(TcAt(TypeOf(seq), {-1})->kind(), CORBA::tk_string);
  EXPECT_EQ(TcAt(TypeOf(seq), {-1})->length(), 3u);
}

// --- in-line type references
// ---------------------------------------------------------

TEST_F(InlineTypeTest, NestedSequenceIsWrittenInFull) {
  CORBA::StringDef_var s5 = repo_->create_string(5);
  CORBA::SequenceDef_var inner = repo_->create_sequence(0, s5);
  CORBA::SequenceDef_var outer = repo_->create_sequence(3, inner);

  std::vector<std::uint8_t> body = Write(outer);
  EncapIIOP in(body);
  std::vector<CORBA::ULong> words;
  for (int i = 0; i < 6; ++i) words.push_back(in.get_ulong());
  EXPECT_EQ(words, (std::vector<CORBA::ULong>{15, 3, 15, 0, 14, 5}));
  EXPECT_THROW(in.get_ulong(), CORBA::MARSHAL);  // nothing after it

  // Read back as a new transient object of the same type.
  CORBA::IDLType_var back = Read(body);
  ASSERT_FALSE(CORBA::is_nil(back));
  EXPECT_FALSE(back->_is_equivalent(outer));
  CORBA::TypeCode_var a = back->type(), b = outer->type();
  EXPECT_TRUE(a->equal(b));
}

TEST_F(InlineTypeTest, EveryFormRoundTrips) {
  CORBA::InterfaceDef_var iface = Itf("I");
  CORBA::IDLType_var l = Prim(CORBA::pk_ulonglong);
  CORBA::WstringDef_var w = repo_->create_wstring(12);
  CORBA::ArrayDef_var arr_i = repo_->create_array(4, iface);
  CORBA::ArrayDef_var arr_arr = repo_->create_array(2, arr_i);
  CORBA::SequenceDef_var seq_w = repo_->create_sequence(0, w);
  struct Case {
    const char* what;
    CORBA::IDLType_ptr type;
    CORBA::DefinitionKind kind;
  } cases[] = {
      {"primitive", l.in(), CORBA::dk_Primitive},
      {"interface", iface.in(), CORBA::dk_Interface},
      {"wstring", w.in(), CORBA::dk_Wstring},
      {"array of interface", arr_i.in(), CORBA::dk_Array},
      {"array of array", arr_arr.in(), CORBA::dk_Array},
      {"sequence of wstring", seq_w.in(), CORBA::dk_Sequence},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<std::uint8_t> body = Write(c.type);
    CORBA::IDLType_var back = Read(body);
    ASSERT_FALSE(CORBA::is_nil(back));
    EXPECT_EQ(back->def_kind(), c.kind);
    CORBA::TypeCode_var a = back->type(), b = c.type->type();
    EXPECT_TRUE(a->equal(b));
    EXPECT_EQ(ir_inline_form(back), ir_inline_form(c.type));
  }
  // Named and primitive types come back as the same objects.
  CORBA::IDLType_var again = Read(Write(iface));
  EXPECT_TRUE(again->_is_equivalent(iface));
  CORBA::IDLType_var elem =
      CORBA::ArrayDef_var(
          CORBA::ArrayDef::_narrow(CORBA::IDLType_var(Read(Write(arr_i)))))
          ->element_type_def();
  EXPECT_TRUE(elem->_is_equivalent(iface));
}

TEST_F(InlineTypeTest, VanishedDefinitionReadsAsNil) {
  std::vector<std::uint8_t> gone = Body([](Encapsulation& e) {
    e.put_ulong(CORBA::dk_Interface);
    e.put_string("IDL:Gone:1.0");
  });
  CORBA::IDLType_var t = Read(gone);
  EXPECT_TRUE(CORBA::is_nil(t));

  CORBA::InterfaceDef_var i = Itf("I");
  CORBA::SequenceDef_var seq = repo_->create_sequence(0, i);
  std::vector<std::uint8_t> body = Write(seq);
  i->destroy();
  CORBA::IDLType_var back = Read(body);
  ASSERT_FALSE(CORBA::is_nil(back));
  CORBA::SequenceDef_var s = CORBA::SequenceDef::_narrow(back);
  CORBA::IDLType_var elem = s->element_type_def();
  EXPECT_TRUE(CORBA::is_nil(elem));
  Servant_ref<CORBA_IDLType_Impl> servant = ServantOf(back);
  EXPECT_TRUE(CORBA::is_nil(servant->cached_type()));
  // A definition that is not a type reads as nil too.
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var mod = Read(Body([](Encapsulation& e) {
    e.put_ulong(CORBA::dk_Module);
    e.put_string("IDL:M:1.0");
  }));
  EXPECT_TRUE(CORBA::is_nil(mod));
}

// Writes `levels` sequence headers around a primitive long.
std::vector<std::uint8_t> NestedSequences(int levels) {
  EncapIIOP out;
  for (int i = 0; i < levels; ++i) {
    out.put_ulong(CORBA::dk_Sequence);
    out.put_ulong(0);
  }
  out.put_ulong(CORBA::dk_Primitive);
  out.put_ulong(CORBA::pk_long);
  return out.bytes();
}

TEST_F(InlineTypeTest, DamagedReferencesRaise) {
  const CORBA::ULong seq = CORBA::dk_Sequence, prim = CORBA::dk_Primitive;
  const std::pair<const char*, std::vector<CORBA::ULong>> cases[] = {
      {"fixed", {CORBA::dk_Fixed}},
      {"repository", {CORBA::dk_Repository}},
      {"none", {CORBA::dk_none}},
      {"all", {CORBA::dk_all}},
      {"typedef", {CORBA::dk_Typedef}},
      {"beyond", {25}},
      {"huge", {0xffffffffu}},
      {"empty", {}},
      {"string without bound", {CORBA::dk_String}},
      {"sequence without element", {seq, 4}},
      {"array of fixed", {CORBA::dk_Array, 4, CORBA::dk_Fixed}},
      {"interface without id", {CORBA::dk_Interface}},
      {"primitive long double", {prim, CORBA::pk_longdouble}},
      {"primitive beyond", {prim, 1000}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
                 CORBA::IDLType_var(Read(Body([&](Encapsulation& e) {
                   for (CORBA::ULong w : c.second) e.put_ulong(w);
                 }))));
  }
  // A truncated string: the length says more than there is.
  std::vector<std::uint8_t> cut = Body([](Encapsulation& e) {
    e.put_ulong(CORBA::dk_Interface);
    e.put_string("IDL:Truncated:1.0");
  });
  cut.resize(cut.size() - 6);
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), CORBA::IDLType_var(Read(cut)));
  // A foreign reference cannot be written.
  EncapIIOP out;
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
               narrow_and_continue_streaming(CORBA::IDLType::_nil(), out));
}

TEST_F(InlineTypeTest, NestingBound) {
  CORBA::IDLType_var deepest = Read(NestedSequences(kMaxTypeNesting));
  ASSERT_FALSE(CORBA::is_nil(deepest));
  EXPECT_EQ(ir_anonymous_depth(deepest), kMaxTypeNesting);
  // It is written back as it was read.
  EXPECT_EQ(ir_inline_form(deepest).size(),
            NestedSequences(kMaxTypeNesting).size());
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
               CORBA::IDLType_var(Read(NestedSequences(kMaxTypeNesting + 1))));
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
               CORBA::IDLType_var(Read(NestedSequences(100000))));
  // No object deeper than what can be read back is made.
  EXPECT_BAD_ARG(CORBA::SequenceDef_var(repo_->create_sequence(0, deepest)));
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::SequenceDef_var seq = repo_->create_sequence(0, l);
  EXPECT_BAD_ARG(seq->element_type_def(deepest));
}

// --- named types behind anonymous ones, recursion, changes of id
// ----------------

TEST_F(RecursiveTypeTest, FindNamedType) {
  CORBA::InterfaceDef_var i = Itf("I");
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StringDef_var s = repo_->create_string(2);
  CORBA::SequenceDef_var seq_l = repo_->create_sequence(0, l);
  CORBA::SequenceDef_var seq_i = repo_->create_sequence(0, i);
  CORBA::ArrayDef_var arr_seq_i = repo_->create_array(3, seq_i);
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(m);
  struct Case {
    const char* what;
    CORBA::IDLType_ptr type;
    CORBA::Boolean found;
    CORBA::Object_ptr named;  // nil: none
  } cases[] = {
      {"nil", CORBA::IDLType::_nil(), 0, CORBA::Object::_nil()},
      {"module", module_as_type.in(), 0, CORBA::Object::_nil()},
      {"long", l.in(), 1, CORBA::Object::_nil()},
      {"string<2>", s.in(), 1, CORBA::Object::_nil()},
      {"sequence<long>", seq_l.in(), 1, CORBA::Object::_nil()},
      {"interface", i.in(), 1, i.in()},
      {"sequence<I>", seq_i.in(), 1, i.in()},
      {"array<sequence<I>>", arr_seq_i.in(), 1, i.in()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    CORBA::Boolean found = 7;
    CORBA::IDLType_var named = find_named_type(c.type, found);
    EXPECT_EQ(found, c.found);
    EXPECT_EQ(CORBA::is_nil(named), CORBA::is_nil(c.named));
    if (!CORBA::is_nil(c.named) && !CORBA::is_nil(named)) {
      EXPECT_TRUE(named->_is_equivalent(c.named));
    }
    CORBA::TypeCode_var rec = make_recursive_tc(c.type);
    EXPECT_EQ(CORBA::is_nil(rec), CORBA::is_nil(c.named));
  }
}

// The placeholder names the right id: a struct TypeCode built around it
// closes the recursion onto itself.
TEST_F(RecursiveTypeTest, PlaceholderClosesOnItsId) {
  CORBA::InterfaceDef_var i = Itf("S");
  CORBA::SequenceDef_var seq = repo_->create_sequence(0, i);
  CORBA::TypeCode_var rec = make_recursive_tc(seq);
  ASSERT_FALSE(CORBA::is_nil(rec));
  CORBA::TypeCode_var member = test_orb()->create_sequence_tc(0, rec);
  CORBA::StructMemberSeq members;
  members.length(1);
  members[0].name = CORBA::string_dup("next");
  members[0].type = CORBA::TypeCode::_duplicate(member);
  members[0].type_def = CORBA::IDLType::_nil();
  CORBA::TypeCode_var s =
      test_orb()->create_struct_tc("IDL:S:1.0", "S", members);
  ASSERT_EQ(TcAt(s, {0})->kind(), CORBA::tk_sequence);
  EXPECT_EQ(TcAt(s, {0, -1})->kind(), CORBA::tk_struct);
  EXPECT_STREQ(TcAt(s, {0, -1})->id(), "IDL:S:1.0");

  // The element's own TypeCode is preferred while it exists.
  EXPECT_EQ(CORBA::TypeCode_var(ir_referenced_typecode(i))->kind(),
            CORBA::tk_objref);
  EXPECT_EQ(TcAt(TypeOf(seq), {-1})->kind(), CORBA::tk_objref);
}

TEST_F(RecursiveTypeTest, Change1RefFollowsAChangedId) {
  CORBA::InterfaceDef_var i = Itf("I");
  CORBA::SequenceDef_var seq = repo_->create_sequence(0, i);
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  EXPECT_EQ(change1ref(seq, "IDL:Other:1.0", "IDL:J:1.0"), 0);
  EXPECT_EQ(change1ref(l, "IDL:I:1.0", "IDL:J:1.0"), 0);
  EXPECT_EQ(change1ref(CORBA::IDLType::_nil(), "IDL:I:1.0", "IDL:J:1.0"), 0);

  i->id("IDL:J:1.0");
  EXPECT_EQ(change1ref(seq, "IDL:I:1.0", "IDL:J:1.0"), 1);
  // The sequence now refers to the definition under its new id.
  EXPECT_EQ(IdOf(CORBA::IDLType_var(seq->element_type_def())), "IDL:J:1.0");
  EncapIIOP in(Write(seq));
  EXPECT_EQ(in.get_ulong(), CORBA::ULong(CORBA::dk_Sequence));
  EXPECT_EQ(in.get_ulong(), 0u);
  EXPECT_EQ(in.get_ulong(), CORBA::ULong(CORBA::dk_Interface));
  EXPECT_EQ(Str(in.get_string()), "IDL:J:1.0");
}

// --- typedef base
// ------------------------------------------------------------------

// The smallest named type: the typedef base with a TypeCode and a kind.
class PlainTypedef : public CORBA_TypedefDef_Impl {
 public:
  PlainTypedef(CORBA::DefinitionKind kind, const char* id, const char* name,
               const char* defined_in, CORBA::TypeCode_ptr tc)
      : CORBA_IRObject_Impl(kind),
        CORBA_TypedefDef_Impl(id, name, "2.1", defined_in) {
    type(tc);
  }
};

using TypedefTest = TypeTest;

TEST_F(TypedefTest, DescribeAndNarrow) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  Servant_ref<PlainTypedef> top(new PlainTypedef(
      CORBA::dk_Alias, "IDL:T:1.0", "T", repository_base_rep_id,
      test_orb()->create_alias_tc("IDL:T:1.0", "T", CORBA::_tc_long)));
  Servant_ref<PlainTypedef> inner(
      new PlainTypedef(CORBA::dk_Native, "IDL:M/N:1.0", "N", "IDL:M:1.0",
                       CORBA::TypeCode::_duplicate(CORBA::_tc_long)));
  root_->get_irs()->IRInsertObject(top.in());
  root_->get_irs()->IRInsertObject(inner.in());

  struct Case {
    PlainTypedef* def;
    const char* id;
    const char* defined_in;
  } cases[] = {{top.in(), "IDL:T:1.0", ""},
               {inner.in(), "IDL:M/N:1.0", "IDL:M:1.0"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    CORBA::Contained::Description_var d = c.def->describe();
    EXPECT_EQ(d->kind, c.def->def_kind());
    const CORBA::TypeDescription* td = nullptr;
    ASSERT_TRUE(d->value >>= td);
    EXPECT_STREQ(td->id.in(), c.id);
    EXPECT_STREQ(td->defined_in.in(), c.defined_in);
    EXPECT_STREQ(td->version.in(), "2.1");
    EXPECT_TRUE(td->type->equal(c.def->cached_type()));
    EXPECT_EQ(CORBA_TypedefDef_Impl::_narrow(c.def), c.def);
  }
  // The record is asked for first: a typedef without one is refused.
  root_->get_irs()->IRRemove(StoreHandle("IDL:T:1.0"));
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x55),
               CORBA::Contained::Description_var(top->describe()));

  // Value boxes, interfaces and anonymous types are not typedefs.
  Servant_ref<PlainTypedef> box(new PlainTypedef(
      CORBA::dk_ValueBox, "IDL:B:1.0", "B", repository_base_rep_id,
      CORBA::TypeCode::_duplicate(CORBA::_tc_long)));
  EXPECT_EQ(CORBA_TypedefDef_Impl::_narrow(box.in()), nullptr);
  CORBA::InterfaceDef_var i = Itf("I");
  Servant_ref<CORBA_IDLType_Impl> is = ServantOf(i);
  EXPECT_EQ(CORBA_TypedefDef_Impl::_narrow(is.in()), nullptr);
  EXPECT_EQ(CORBA_TypedefDef_Impl::_narrow(nullptr), nullptr);

  // The in-line form of a typedef is its kind and id.
  EncapIIOP out;
  inner->stream_in_line(out);
  EncapIIOP in(out.bytes());
  EXPECT_EQ(in.get_ulong(), CORBA::ULong(CORBA::dk_Native));
  EXPECT_EQ(Str(in.get_string()), "IDL:M/N:1.0");
}

// --- repository lookups and factory
// ------------------------------------------------

TEST_F(LookupTest, LookupIdEdgeCases) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var(
      m->create_interface("IDL:M/I:1.0", "I", "1.0", CORBA::InterfaceDefSeq()));
  // Found: ids as they are; nothing else, however close.
  for (const char* id : {"IDL:M/I:1.0", "IDL:M:1.0", "IDL:Object:1.0"})
    EXPECT_EQ(IdOf(Find(id)), id);
  for (const char* id : {"::M::I", "M", "", "idl:m/i:1.0", "IDL:M/I:1.0 ",
                         "IDL:Nope:1.0", "garbage ~p3", repository_base_rep_id})
    EXPECT_EQ(IdOf(Find(id)), "<nil>") << "'" << id << "'";
  EXPECT_BAD_ARG(root_->lookup_id(nullptr));
}

TEST_F(LookupTest, CanonicalTypeCodeAndFixed) {
  CORBA::TypeCode_var seq = test_orb()->create_sequence_tc(4, CORBA::_tc_short);
  CORBA::TypeCode_var canonical = repo_->get_canonical_typecode(seq);
  EXPECT_TRUE(canonical->equal(seq));
  EXPECT_SYSEX(NO_MEMORY, IrMinor(0x33),
               root_->get_canonical_typecode(CORBA::TypeCode::_nil()));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::FixedDef_var(repo_->create_fixed(10, 2)));
}

TEST_F(LookupTest, FindObjectsByKindAndScope) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDefSeq none;
  CORBA::InterfaceDef_var mi =
      m->create_interface("IDL:M/I:1.0", "I", "1.0", none);
  CORBA::InterfaceDef_var j = Itf("J");
  auto ids = [&](const char* pattern, const char* scope, const char* kinds) {
    CORBA::ContainedSeq_var found =
        ext_->ext_find_objects(pattern, scope, false, kinds);
    return IdsOf(found.in());
  };
  EXPECT_EQ(ids("*", "IDL:M:1.0", ""), (Ids{"IDL:M/I:1.0"}));
  EXPECT_EQ(ids("[IJ]", "", "interface"), (Ids{"IDL:M/I:1.0", "IDL:J:1.0"}));
  EXPECT_EQ(ids("*", "", " Module , INTERFACE"),
            (Ids{"IDL:Object:1.0", "IDL:M:1.0", "IDL:M/I:1.0", "IDL:J:1.0"}));
  EXPECT_EQ(ids("M", "", "Struct"), Ids{});
  for (const char* bad : {"Bogus", "Interface,", "dk_Interface", ","}) {
    SCOPED_TRACE(bad);
    EXPECT_BAD_ARG(
        CORBA::ContainedSeq_var(ext_->ext_find_objects("*", "", false, bad)));
  }
}

}  // namespace
