// The JSON mapping of IDL values, rule by rule: JSON -> Any -> JSON for
// every kind of type, the Anys read back by omniORB's own DynAny and
// compiled stubs, and every refusal with its exact message and path.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>
#include <omniORB4/cdrStream.h>

#include <string>
#include <vector>

#include "call_test.hh"
#include "call_test_factories.h"
#include "call_test_fixed.hh"
#include "orb_main.h"
#include "values/idl_type_text.h"
#include "values/value_codec.h"
#include "values_fixture.h"

using json = nlohmann::ordered_json;

MapResolver& call_test_types() {
  static MapResolver* types = [] {
    auto* r = new MapResolver;
    const std::pair<const char*, CORBA::TypeCode_ptr> kTypes[] = {
        {"::CallTest::Color", CallTest::_tc_Color},
        {"::CallTest::Point", CallTest::_tc_Point},
        {"::CallTest::PointSeq", CallTest::_tc_PointSeq},
        {"::CallTest::PointAlias", CallTest::_tc_PointAlias},
        {"::CallTest::Matrix", CallTest::_tc_Matrix},
        {"::CallTest::Grid", CallTest::_tc_Grid},
        {"::CallTest::Bytes", CallTest::_tc_Bytes},
        {"::CallTest::Block", CallTest::_tc_Block},
        {"::CallTest::ColorPair", CallTest::_tc_ColorPair},
        {"::CallTest::Primitives", CallTest::_tc_Primitives},
        {"::CallTest::Strings", CallTest::_tc_Strings},
        {"::CallTest::ByLong", CallTest::_tc_ByLong},
        {"::CallTest::ByShort", CallTest::_tc_ByShort},
        {"::CallTest::ByUShort", CallTest::_tc_ByUShort},
        {"::CallTest::ByULong", CallTest::_tc_ByULong},
        {"::CallTest::ByEnum", CallTest::_tc_ByEnum},
        {"::CallTest::ByBool", CallTest::_tc_ByBool},
        {"::CallTest::ByChar", CallTest::_tc_ByChar},
        {"::CallTest::Unions", CallTest::_tc_Unions},
        {"::CallTest::Nested", CallTest::_tc_Nested},
        {"::CallTest::Tree", CallTest::_tc_Tree},
        {"::CallTest::Forest", CallTest::_tc_Forest},
        {"::CallTest::Failure", CallTest::_tc_Failure},
        {"::CallTest::Empty", CallTest::_tc_Empty},
        {"::CallTest::Peer", CallTest::_tc_Peer},
        {"::CallTest::Node", CallTest::_tc_Node},
        {"::CallTest::Shape", CallTest::_tc_Shape},
        {"::CallTest::Circle", CallTest::_tc_Circle},
        {"::CallTest::Square", CallTest::_tc_Square},
        {"::CallTest::Label", CallTest::_tc_Label},
        {"::CallTest::Everything", CallTest::_tc_Everything},
        {"::CallTestFixed::Money", CallTestFixed::_tc_Money},
        {"::CallTestFixed::Fraction", CallTestFixed::_tc_Fraction},
        {"::CallTestFixed::Price", CallTestFixed::_tc_Price},
    };
    for (const auto& t : kTypes) r->add(t.first, t.second);
    // Unions on 64-bit discriminators, which IDL allows and the
    // repository does not keep.
    CORBA::UnionMemberSeq members;
    members.length(2);
    members[0].name = "huge";
    members[0].label <<= static_cast<CORBA::LongLong>(9007199254740993LL);
    members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_string);
    members[1].name = "small";
    members[1].label <<= CORBA::Any::from_octet(0);
    members[1].type = CORBA::TypeCode::_duplicate(CORBA::_tc_long);
    CORBA::TypeCode_var by_longlong = test_orb()->create_union_tc(
        "IDL:Wide/ByLongLong:1.0", "ByLongLong", CORBA::_tc_longlong, members);
    r->add("::Wide::ByLongLong", by_longlong);
    members.length(1);
    members[0].name = "max";
    members[0].label <<= static_cast<CORBA::ULongLong>(18446744073709551615ULL);
    CORBA::TypeCode_var by_ulonglong =
        test_orb()->create_union_tc("IDL:Wide/ByULongLong:1.0", "ByULongLong",
                                    CORBA::_tc_ulonglong, members);
    r->add("::Wide::ByULongLong", by_ulonglong);
    // A truncatable value type, written chunked, holding another value.
    CORBA::ValueMemberSeq base_members;
    base_members.length(2);
    base_members[0].name = "id";
    base_members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_long);
    base_members[0].access = CORBA::PUBLIC_MEMBER;
    base_members[1].name = "name";
    base_members[1].type = CORBA::TypeCode::_duplicate(CORBA::_tc_string);
    base_members[1].access = CORBA::PUBLIC_MEMBER;
    CORBA::TypeCode_var base =
        test_orb()->create_value_tc("IDL:Wide/Base:1.0", "Base", CORBA::VM_NONE,
                                    CORBA::_tc_null, base_members);
    r->add("::Wide::Base", base);
    CORBA::ValueMemberSeq trunc_members;
    trunc_members.length(3);
    trunc_members[0].name = "d";
    trunc_members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_double);
    trunc_members[0].access = CORBA::PUBLIC_MEMBER;
    trunc_members[1].name = "inner";
    trunc_members[1].type = CORBA::TypeCode::_duplicate(base);
    trunc_members[1].access = CORBA::PUBLIC_MEMBER;
    trunc_members[2].name = "s";
    trunc_members[2].type = CORBA::TypeCode::_duplicate(CORBA::_tc_short);
    trunc_members[2].access = CORBA::PRIVATE_MEMBER;
    CORBA::TypeCode_var trunc =
        test_orb()->create_value_tc("IDL:Wide/Trunc:1.0", "Trunc",
                                    CORBA::VM_TRUNCATABLE, base, trunc_members);
    r->add("::Wide::Trunc", trunc);
    return r;
  }();
  return *types;
}

namespace {

CORBA::TypeCode_ptr Type(const std::string& text) {
  return parse_idl_type_text(text, test_orb(), &call_test_types());
}

ValueCodec Codec() { return ValueCodec(test_orb(), &call_test_types()); }

DynamicAny::DynAnyFactory_ptr dyn_factory() {
  static DynamicAny::DynAnyFactory_var factory = [] {
    CORBA::Object_var obj =
        test_orb()->resolve_initial_references("DynAnyFactory");
    return DynamicAny::DynAnyFactory::_narrow(obj);
  }();
  return factory;
}

// The IOR that the ORB writes for a corbaloc URL.
std::string IorOf(const std::string& url) {
  CORBA::Object_var obj = test_orb()->string_to_object(url.c_str());
  CORBA::String_var ior = test_orb()->object_to_string(obj);
  return ior.in();
}

std::string Substituted(std::string text) {
  static const std::string kIor = IorOf("corbaloc::127.0.0.1:1/x");
  for (std::size_t at; (at = text.find("$IOR")) != std::string::npos;)
    text.replace(at, 4, kIor);
  return text;
}

struct RoundTrip {
  const char* type;
  const char* in;
  const char* out;  // "" when the same as `in`
  // omniORB's DynAny reads it: it cannot read shared values.
  bool dyn_any;
};

// clang-format off
const RoundTrip kRoundTrips[] = {
    // integers; 64-bit ones beyond 2^53 as strings, accepted both ways
    {"short", "-32768", "", true},
    {"unsigned short", "65535", "", true},
    {"long", "-2147483648", "", true},
    {"long", "7.0", "7", true},
    {"unsigned long", "4294967295", "", true},
    {"octet", "255", "", true},
    {"long long", "-9007199254740992", "", true},
    {"long long", "9007199254740993", "\"9007199254740993\"", true},
    {"long long", "\"-9223372036854775808\"", "", true},
    {"long long", "\"12\"", "12", true},
    {"unsigned long long", "18446744073709551615", "\"18446744073709551615\"", true},
    // floating point; NaN and the infinities as strings
    {"double", "0.1", "", true},
    {"double", "-1e300", "", true},
    {"double", "\"NaN\"", "", true},
    {"double", "\"Infinity\"", "", true},
    {"float", "\"-Infinity\"", "", true},
    {"float", "0.1", "", true},
    {"float", "3", "3.0", true},
    {"long double", "1.5", "", true},
    {"boolean", "true", "", true},
    // characters and strings
    {"char", "\"A\"", "", true},
    {"char", "\"\\u00e9\"", "", true},
    {"wchar", "\"\\u20ac\"", "", true},
    {"string", "\"h\\u00e9llo w\\u00f6rld\"", "", true},
    {"string<8>", "\"12345678\"", "", true},
    {"wstring", "\"a\\u20ac\\ud83d\\ude00\"", "", true},
    {"wstring<2>", "\"\\ud83d\\ude00\"", "", true},
    // fixed point as decimal strings with the type's scale
    {"::CallTestFixed::Money", "\"-1234567.5\"", "\"-1234567.50\"", true},
    {"::CallTestFixed::Fraction", "\"0.12345\"", "", true},
    {"fixed<5,2>", "12", "\"12.00\"", true},
    // enums, structs, aliases, exceptions
    {"::CallTest::Color", "\"blue\"", "", true},
    {"::CallTest::Point", "{\"x\":1,\"y\":-2}", "", true},
    {"::CallTest::PointAlias", "{\"x\":1,\"y\":-2}", "", true},
    {"::CallTest::Primitives",
     "{\"s\":-1,\"us\":2,\"l\":-3,\"ul\":4,\"ll\":\"-9007199254740993\","
     "\"ull\":\"18446744073709551615\",\"f\":1.5,\"d\":\"NaN\","
     "\"b\":false,\"c\":\"c\",\"wc\":\"\\u00fc\",\"o\":9}", "", true},
    {"::CallTest::Failure", "{\"code\":1,\"reason\":\"r\"}", "", true},
    {"::CallTest::Empty", "{}", "", true},
    // unions: member by name, default member, no member, discriminator
    // derived from the one member given
    {"::CallTest::ByLong", "{\"discriminator\":1,\"l\":5}", "", true},
    {"::CallTest::ByLong", "{\"discriminator\":3,\"s\":\"x\"}", "", true},
    {"::CallTest::ByLong", "{\"discriminator\":9,\"p\":{\"x\":1,\"y\":2}}", "", true},
    {"::CallTest::ByLong", "{\"s\":\"x\"}", "{\"discriminator\":2,\"s\":\"x\"}", true},
    {"::CallTest::ByLong", "{\"p\":{\"x\":1,\"y\":2}}",
     "{\"discriminator\":0,\"p\":{\"x\":1,\"y\":2}}", true},
    {"::CallTest::ByShort", "{\"discriminator\":5}", "", true},
    {"::CallTest::ByShort", "{\"discriminator\":2,\"two\":0.5}", "", true},
    {"::CallTest::ByUShort", "{\"discriminator\":7,\"seven\":\"7\"}", "", true},
    {"::CallTest::ByULong", "{\"discriminator\":4000000000,\"big\":\"b\"}", "", true},
    {"::Wide::ByLongLong", "{\"discriminator\":\"9007199254740993\",\"huge\":\"h\"}", "", true},
    {"::Wide::ByLongLong", "{\"discriminator\":1,\"small\":2}", "", true},
    {"::Wide::ByULongLong", "{\"discriminator\":\"18446744073709551615\",\"max\":\"m\"}", "", true},
    {"::CallTest::ByEnum", "{\"discriminator\":\"green\"}", "", true},
    {"::CallTest::ByEnum", "{\"discriminator\":\"red\",\"r\":1}", "", true},
    {"::CallTest::ByBool", "{\"discriminator\":false,\"no\":3}", "", true},
    {"::CallTest::ByChar", "{\"discriminator\":\"z\",\"other\":1}", "", true},
    {"::CallTest::ByChar", "{\"discriminator\":\"b\",\"b\":\"bee\"}", "", true},
    // sequences and arrays, octets also as base64
    {"sequence<long>", "[1,2,3]", "", true},
    {"sequence<long,2>", "[]", "", true},
    {"::CallTest::Bytes", "\"AQID/w==\"", "[1,2,3,255]", true},
    {"::CallTest::Bytes", "[0,255]", "", true},
    {"::CallTest::Block", "\"AAECAw==\"", "[0,1,2,3]", true},
    {"::CallTest::Matrix", "[[1,2,3],[4,5,6]]", "", true},
    {"::CallTest::Grid", "[[1],[],[2,3]]", "", true},
    {"::CallTest::ColorPair", "[\"red\",\"blue\"]", "", true},
    {"long[2][1]", "[[1],[2]]", "", true},
    {"::CallTest::Tree",
     "{\"name\":\"a\",\"kids\":[{\"name\":\"b\",\"kids\":[]}]}", "", true},
    // any: the type as IDL text; named types come out as scoped names
    {"any", "{\"type\":\"::CallTest::Point\",\"value\":{\"x\":1,\"y\":2}}", "", true},
    {"any", "{\"type\":\"IDL:CallTest/Point:1.0\",\"value\":{\"x\":1,\"y\":2}}",
     "{\"type\":\"::CallTest::Point\",\"value\":{\"x\":1,\"y\":2}}", true},
    {"any", "{\"type\":\"sequence<::CallTest::Color>\",\"value\":[\"red\"]}", "", true},
    {"any", "{\"type\":\"any\",\"value\":{\"type\":\"long\",\"value\":1}}", "", true},
    {"any", "{\"type\":\"void\"}", "{\"type\":\"void\",\"value\":null}", true},
    // TypeCodes as IDL text
    {"TypeCode", "\"sequence<::CallTest::Point,3>\"", "", true},
    {"TypeCode", "\"unsigned long long\"", "", true},
    {"CORBA::TypeCode", "\"fixed<9,2>\"", "", true},
    {"TypeCode", "\"long[2][3]\"", "", true},
    {"TypeCode", "\"::CallTest::Everything\"", "", true},
    // object references: IORs or corbaloc URLs in, IORs out; nil is null
    {"Object", "null", "", true},
    {"Object", "\"corbaloc::127.0.0.1:1/x\"", "\"$IOR\"", true},
    {"::CallTest::Peer", "\"$IOR\"", "", true},
    // value types: null, trees, shared and cyclic graphs, derived types,
    // boxes
    {"::CallTest::Node", "null", "", true},
    {"::CallTest::Node", "{\"id\":1,\"next\":{\"id\":2,\"next\":null,\"other\":null},"
     "\"other\":null}", "", true},
    {"::CallTest::Node", "{\"id\":1,\"next\":{\"@id\":\"two\",\"id\":2,\"next\":null,"
     "\"other\":null},\"other\":{\"@ref\":\"two\"}}",
     "{\"id\":1,\"next\":{\"@id\":2,\"id\":2,\"next\":null,\"other\":null},"
     "\"other\":{\"@ref\":2}}", false},
    {"::CallTest::Node", "{\"@id\":1,\"id\":1,\"next\":{\"id\":2,\"next\":{\"@ref\":1},"
     "\"other\":null},\"other\":{\"@ref\":1}}", "", false},
    {"::CallTest::Circle", "{\"origin\":{\"x\":0,\"y\":1},\"radius\":2.5}", "", true},
    {"::CallTest::Shape", "{\"@type\":\"::CallTest::Shape\",\"origin\":{\"x\":0,\"y\":1}}",
     "{\"origin\":{\"x\":0,\"y\":1}}", true},
    {"::CallTest::Shape", "{\"origin\":{\"x\":0,\"y\":1}}", "", true},
    {"::CallTest::Label", "\"text\"", "", true},
    {"::CallTest::Label", "null", "", true},
    {"sequence<::CallTest::Label>", "[{\"@id\":1,\"@box\":\"x\"},{\"@ref\":1},\"y\"]", "", false},
    // truncatable: chunked, with values nested in the chunks
    {"::Wide::Trunc", "{\"id\":1,\"name\":\"t\",\"d\":0.5,\"inner\":{\"id\":2,"
     "\"name\":\"i\"},\"s\":3}", "", true},
    {"::Wide::Trunc", "{\"id\":1,\"name\":\"t\",\"d\":0.5,\"inner\":null,\"s\":3}", "", true},
    {"sequence<::Wide::Trunc>", "[{\"id\":1,\"name\":\"t\",\"d\":0.5,\"inner\":{\"@id\":7,"
     "\"id\":2,\"name\":\"i\"},\"s\":3},{\"id\":3,\"name\":\"u\",\"d\":1,\"inner\":"
     "{\"@ref\":7},\"s\":4}]",
     "[{\"id\":1,\"name\":\"t\",\"d\":0.5,\"inner\":{\"@id\":2,\"id\":2,\"name\":\"i\"},"
     "\"s\":3},{\"id\":3,\"name\":\"u\",\"d\":1.0,\"inner\":{\"@ref\":2},\"s\":4}]", false},
};
// clang-format on

TEST(JsonMapping, EveryRuleRoundTripsThroughAnAnyAndOmniOrbsDynAny) {
  ValueCodec codec = Codec();
  for (const RoundTrip& row : kRoundTrips) {
    SCOPED_TRACE(std::string(row.type) + " " + row.in);
    try {
      CORBA::TypeCode_var tc = Type(row.type);
      json in = J(Substituted(row.in));
      json want = *row.out ? J(Substituted(row.out)) : in;
      CORBA::Any_var any = codec.to_any(in, tc, "v");
      EXPECT_EQ(codec.to_json(any.in()), want);
      if (!row.dyn_any) continue;
      // omniORB reads the value we wrote, and what it writes back from its
      // own reading decodes to the same JSON.
      DynamicAny::DynAny_var dyn = dyn_factory()->create_dyn_any(any.in());
      CORBA::Any_var again = dyn->to_any();
      dyn->destroy();
      EXPECT_EQ(codec.to_json(again.in()), want);
    } catch (const std::exception& e) {
      ADD_FAILURE() << e.what();
    } catch (const CORBA::Exception& e) {
      ADD_FAILURE() << "CORBA::" << e._name();
    }
  }
}

struct Refusal {
  const char* type;
  const char* in;
  const char* message;  // what() of the ValueError, path included
};

// clang-format off
const Refusal kRefusals[] = {
    {"long", "\"12\"", "args[0]: expected an integer (long), got \"12\""},
    {"long", "1.5", "args[0]: expected an integer (long), got 1.5"},
    {"short", "40000", "args[0]: 40000 is out of range for short (-32768 to 32767)"},
    {"octet", "-1", "args[0]: -1 is out of range for octet (0 to 255)"},
    {"unsigned long long", "\"-1\"",
     "args[0]: -1 is out of range for unsigned long long (0 to 18446744073709551615)"},
    {"long long", "\"12a\"",
     "args[0]: expected an integer (long long) or a decimal string, got \"12a\""},
    {"float", "1e39", "args[0]: 1e+39 is out of range for float"},
    {"double", "\"nan\"",
     "args[0]: expected a number, \"NaN\", \"Infinity\" or \"-Infinity\", got \"nan\""},
    {"boolean", "1", "args[0]: expected true or false, got 1"},
    {"char", "\"ab\"", "args[0]: expected a one-character string, got \"ab\""},
    {"char", "\"\\u20ac\"",
     "args[0]: U+20AC does not fit a char (ISO-8859-1); a wchar holds it"},
    {"wchar", "\"\\ud83d\\ude00\"",
     "args[0]: U+1F600 does not fit a wchar (one UTF-16 unit)"},
    {"string", "5", "args[0]: expected a string, got 5"},
    {"string<3>", "\"abcd\"",
     "args[0]: string of 4 bytes (UTF-8) is longer than the bound of string<3>"},
    {"wstring<1>", "\"\\ud83d\\ude00\"",
     "args[0]: wstring of 2 UTF-16 units is longer than the bound of wstring<1>"},
    {"string", "\"a\\u0000b\"", "args[0]: an IDL string cannot hold the character U+0000"},
    {"fixed<5,2>", "\"1.234\"",
     "args[0]: 1.234 has more decimal places than fixed<5,2> holds (2)"},
    {"fixed<5,2>", "\"1234\"",
     "args[0]: 1234 has more integer digits than fixed<5,2> holds (3)"},
    {"fixed<5,2>", "\"1.2.3\"", "args[0]: expected a decimal string, got \"1.2.3\""},
    {"::CallTest::Color", "\"purple\"",
     "args[0]: unknown enumerator \"purple\" of Color (one of: red, green, blue)"},
    {"::CallTest::Point", "{\"x\":1}", "args[0]: missing member 'y'"},
    {"::CallTest::Point", "{\"x\":1,\"y\":2,\"z\":3}",
     "args[0]: unknown member 'z' (members: x, y)"},
    {"::CallTest::Point", "{\"x\":\"1\",\"y\":2}",
     "args[0].x: expected an integer (long), got \"1\""},
    {"::CallTest::Point", "[1,2]",
     "args[0]: expected an object with the members of Point, got [1,2]"},
    {"::CallTest::Nested",
     "{\"points\":[{\"x\":1,\"y\":2},{\"x\":1,\"name\":3}],\"corner\":{\"x\":1,\"y\":2},"
     "\"cells\":[[1,2,3],[4,5,6]],\"rows\":[],\"choices\":[],\"colors\":[\"red\",\"red\"],"
     "\"texts\":[]}",
     "args[0].points[1]: missing member 'y'"},
    {"::CallTest::ByLong", "{\"discriminator\":1}",
     "args[0]: missing member 'l' for discriminator 1"},
    {"::CallTest::ByLong", "{\"discriminator\":1,\"s\":\"x\"}",
     "args[0]: discriminator 1 selects member 'l', not 's'"},
    {"::CallTest::ByShort", "{\"discriminator\":5,\"one\":1}",
     "args[0]: discriminator 5 selects no member; 'one' is not expected"},
    {"::CallTest::ByShort", "{\"discriminator\":70000}",
     "args[0].discriminator: 70000 is out of range for short (-32768 to 32767)"},
    {"::CallTest::ByEnum", "{\"discriminator\":\"purple\"}",
     "args[0].discriminator: unknown enumerator \"purple\" of Color (one of: red, green, blue)"},
    {"::CallTest::ByLong", "{\"q\":1}", "args[0]: union ByLong has no member 'q'"},
    {"::CallTest::ByLong", "{}",
     "args[0]: missing \"discriminator\" (a member alone chooses it)"},
    {"::CallTest::ByBool", "{\"discriminator\":true,\"yes\":1,\"no\":2}",
     "args[0]: discriminator true selects member 'yes', not 'no'"},
    {"sequence<long,2>", "[1,2,3]",
     "args[0]: 3 elements exceed the bound 2 of the sequence"},
    {"::CallTest::Matrix", "[[1,2,3]]", "args[0]: expected 2 elements, got 1"},
    {"::CallTest::Matrix", "[[1,2,3],[4,5]]", "args[0][1]: expected 3 elements, got 2"},
    {"sequence<long>", "[1,\"x\"]", "args[0][1]: expected an integer (long), got \"x\""},
    {"sequence<long>", "{}", "args[0]: expected an array, got {}"},
    {"::CallTest::Bytes", "\"@@@\"",
     "args[0]: not valid base64 (RFC 4648 with '=' padding)"},
    {"::CallTest::Block", "\"AAEC\"", "args[0]: expected 4 octets, got 3"},
    {"any", "5",
     "args[0]: expected an object {\"type\": \"<IDL type>\", \"value\": V}, got 5"},
    {"any", "{\"type\":\"::No::Such\",\"value\":1}",
     "args[0].type: type '::No::Such': no type named '::No::Such'"},
    {"any", "{\"type\":\"sequence<long\",\"value\":[]}",
     "args[0].type: type 'sequence<long': expected '>' at the end"},
    {"any", "{\"type\":\"long\"}", "args[0]: missing member 'value'"},
    {"any", "{\"type\":\"long\",\"value\":true}",
     "args[0].value: expected an integer (long), got true"},
    {"TypeCode", "\"long[0]\"",
     "args[0]: type 'long[0]': an array needs a length of at least 1"},
    {"Object", "\"not an ior\"",
     "args[0]: not an object reference (IOR:..., corbaloc:..., corbaname:...): "
     "\"not an ior\""},
    {"Object", "5",
     "args[0]: expected an object reference (IOR or corbaloc URL) or null, got 5"},
    {"::CallTest::Node", "{\"id\":1,\"next\":{\"@ref\":7},\"other\":null}",
     "args[0].next: \"@ref\": 7 names no value written before it (\"@id\")"},
    {"::CallTest::Node", "{\"id\":1,\"next\":null}", "args[0]: missing member 'other'"},
    {"::CallTest::Node",
     "{\"@id\":1,\"id\":1,\"next\":{\"@id\":1,\"id\":2,\"next\":null,\"other\":null},"
     "\"other\":null}",
     "args[0].next: \"@id\": 1 is used twice"},
    {"::CallTest::Shape", "{\"@type\":\"::CallTest::Node\",\"id\":1}",
     "args[0].@type: ::CallTest::Node does not derive from Shape"},
    {"::CallTest::Shape", "{\"origin\":{\"x\":0,\"y\":1},\"radius\":1}",
     "args[0]: unknown member 'radius' of value type Shape"},
    {"ValueBase", "{}", "args[0]: a value of ValueBase needs \"@type\": the value type it is"},
    {"sequence<::CallTest::Shape>",
     "[{\"@type\":\"::CallTest::Circle\",\"origin\":{\"x\":0,\"y\":1},\"radius\":1}]",
     "args[0][0].@type: a value of ::CallTest::Circle where Shape is declared: "
     "the ORB passes values of the declared type only"},
    {"ValueBase", "{\"@type\":\"::CallTest::Shape\",\"origin\":{\"x\":0,\"y\":1}}",
     "args[0].@type: a value of ::CallTest::Shape where ValueBase is declared: "
     "the ORB passes values of the declared type only"},
};
// clang-format on

TEST(JsonMapping, EveryRefusalNamesThePathOfTheBadValue) {
  ValueCodec codec = Codec();
  for (const Refusal& row : kRefusals) {
    SCOPED_TRACE(std::string(row.type) + " " + row.in);
    CORBA::TypeCode_var tc = Type(row.type);
    try {
      CORBA::Any_var any = codec.to_any(J(row.in), tc, "args[0]");
      ADD_FAILURE() << "accepted";
    } catch (const ValueError& e) {
      EXPECT_EQ(std::string(e.what()), row.message);
    }
  }
}

struct TypeText {
  const char* in;
  const char* out;
};

const TypeText kTypeTexts[] = {
    {"long", "long"},
    {" unsigned  long   long ", "unsigned long long"},
    {"long double", "long double"},
    {"string<5>", "string<5>"},
    {"wstring", "wstring"},
    {"sequence< ::CallTest::Point , 3 >", "sequence<::CallTest::Point,3>"},
    {"sequence<sequence<octet>>", "sequence<sequence<octet>>"},
    {"CORBA::TypeCode", "TypeCode"},
    {"::CORBA::Object", "Object"},
    {"IDL:CallTest/Color:1.0", "::CallTest::Color"},
    {"CallTest::Color", "::CallTest::Color"},
    {"long[2][3]", "long[2][3]"},
    {"sequence<long[2]>", "sequence<long[2]>"},
    {"fixed<9,2>", "fixed<9,2>"},
    {"ValueBase", "ValueBase"},
};

const TypeText kBadTypeTexts[] = {
    {"", "type '': no type name"},
    {"unsigned char",
     "type 'unsigned char': expected 'short' or 'long' after "
     "'unsigned'"},
    {"sequence<>", "type 'sequence<>': expected a type name at '>'"},
    {"fixed<40,2>",
     "type 'fixed<40,2>': fixed needs 1 to 31 digits and a "
     "scale of at most the digits"},
    {"string<99999999999>",
     "type 'string<99999999999>': a bound 99999999999 "
     "is too large"},
    {"long long long", "type 'long long long': unexpected 'long'"},
    {"::CallTest::Nope",
     "type '::CallTest::Nope': no type named "
     "'::CallTest::Nope'"},
};

TEST(IdlTypeText, ParsesAndPrintsEveryForm) {
  for (const TypeText& row : kTypeTexts) {
    SCOPED_TRACE(row.in);
    CORBA::TypeCode_var tc = Type(row.in);
    EXPECT_EQ(idl_type_text(tc, &call_test_types()), row.out);
    CORBA::TypeCode_var again = Type(row.out);
    EXPECT_TRUE(again->equal(tc));
  }
  CORBA::TypeCode_var point = Type("CallTest::PointAlias");
  EXPECT_TRUE(point->equal(CallTest::_tc_PointAlias));
  // Without a resolver named types are written by repository id.
  EXPECT_EQ(idl_type_text(CallTest::_tc_Point, nullptr),
            "IDL:CallTest/Point:1.0");
  for (const TypeText& row : kBadTypeTexts) {
    SCOPED_TRACE(row.in);
    try {
      CORBA::TypeCode_var tc = Type(row.in);
      ADD_FAILURE() << "accepted";
    } catch (const TypeTextError& e) {
      EXPECT_EQ(std::string(e.what()), row.out);
    }
  }
}

}  // namespace

namespace {

// A ring of `count` compiled nodes: each `next` the following one, each
// `other` the node itself (the call test server's make_ring).
CallTest::Node* CompiledRing(int count) {
  std::vector<CallTest::Node_var> nodes;
  for (int i = 0; i < count; ++i) {
    nodes.emplace_back(new OBV_CallTest::Node);
    nodes.back()->id(i + 1);
  }
  for (int i = 0; i < count; ++i) {
    nodes[i]->next(nodes[(i + 1) % count]);
    nodes[i]->other(nodes[i]);
  }
  CallTest::Node* first = nodes[0];
  CORBA::add_ref(first);
  return first;
}

// Drops the references that the nodes reachable from `first` hold to
// each other, so that reference counting frees them.
void BreakRing(CallTest::Node* first) {
  std::vector<CallTest::Node_var> nodes;
  for (CallTest::Node* n = first; n;) {
    bool seen = false;
    for (const CallTest::Node_var& v : nodes) seen = seen || v.in() == n;
    if (seen) break;
    CORBA::add_ref(n);
    nodes.emplace_back(n);
    n = n->next();
  }
  for (CallTest::Node_var& n : nodes) {
    n->next(nullptr);
    n->other(nullptr);
  }
}

TEST(JsonMapping, ReadsWhatCompiledStubsWrite) {
  register_call_test_factories(test_orb());
  ValueCodec codec = Codec();

  CallTest::Primitives p;
  p.s = -2;
  p.us = 65535;
  p.l = 7;
  p.ul = 4000000000U;
  p.ll = -(1LL << 60);
  p.ull = 1ULL << 63;
  p.f = 0.25f;
  p.d = -1e-300;
  p.b = true;
  p.c = '\xe9';
  p.wc = 0x20ac;
  p.o = 200;
  CORBA::Any a;
  a <<= p;
  EXPECT_EQ(codec.to_json(a),
            J("{\"s\":-2,\"us\":65535,\"l\":7,\"ul\":4000000000,"
              "\"ll\":\"-1152921504606846976\",\"ull\":\"9223372036854775808\","
              "\"f\":0.25,\"d\":-1e-300,\"b\":true,"
              "\"c\":\"\\u00e9\",\"wc\":\"\\u20ac\",\"o\":200}"));

  CallTest::Unions u;
  u.by_long.p(CallTest::Point{1, 2});
  u.by_long._d(-5);
  u.by_short._default();
  u.by_ushort.seven("7");
  u.by_ulong._default();
  u.by_enum.b(0.5);
  u.by_bool.no(3);
  u.by_char.b("bee");
  CORBA::Any ua;
  ua <<= u;
  json unions = codec.to_json(ua);
  EXPECT_EQ(unions["by_long"],
            J("{\"discriminator\":-5,\"p\":{\"x\":1,\"y\":2}}"));
  // No member: a discriminator value without a label, and nothing else.
  EXPECT_EQ(unions["by_short"].size(), 1u);
  EXPECT_NE(unions["by_short"]["discriminator"], 1);
  EXPECT_NE(unions["by_short"]["discriminator"], 2);
  EXPECT_EQ(unions["by_enum"], J("{\"discriminator\":\"blue\",\"b\":0.5}"));
  EXPECT_EQ(unions["by_char"], J("{\"discriminator\":\"b\",\"b\":\"bee\"}"));

  CallTest::Failure f(3, "no");
  CORBA::Any fa;
  fa <<= f;
  EXPECT_EQ(codec.to_json(fa), J("{\"code\":3,\"reason\":\"no\"}"));

  // A cyclic graph comes out once, with "@id"s and "@ref"s.
  CallTest::Node_var ring = CompiledRing(2);
  CORBA::Any ra;
  ra <<= ring.in();  // the Any shares the ring
  EXPECT_EQ(codec.to_json(ra),
            J("{\"@id\":1,\"id\":1,\"next\":{\"@id\":2,\"id\":2,"
              "\"next\":{\"@ref\":1},\"other\":{\"@ref\":2}},"
              "\"other\":{\"@ref\":1}}"));
  BreakRing(ring);
}

TEST(JsonMapping, CompiledStubsReadWhatTheMappingWrites) {
  register_call_test_factories(test_orb());
  ValueCodec codec = Codec();

  CORBA::Any_var nested = codec.to_any(
      J("{\"points\":[{\"x\":1,\"y\":2}],\"corner\":{\"x\":3,\"y\":4},"
        "\"cells\":[[1,2,3],[4,5,6]],\"rows\":[[7],[]],"
        "\"choices\":[{\"discriminator\":2,\"s\":\"two\"}],"
        "\"colors\":[\"green\",\"blue\"],"
        "\"texts\":[{\"s\":\"a\",\"bounded\":\"b\",\"ws\":\"\\u20ac\","
        "\"wbounded\":\"\\ud83d\\ude00\"}]}"),
      CallTest::_tc_Nested);
  const CallTest::Nested* n = nullptr;
  ASSERT_TRUE(nested.in() >>= n);
  EXPECT_EQ(n->points[0].y, 2);
  EXPECT_EQ(n->corner.x, 3);
  EXPECT_EQ(n->cells[1][2], 6);
  EXPECT_EQ(n->rows[0][0], 7);
  EXPECT_EQ(n->rows[1].length(), 0u);
  EXPECT_EQ(std::string(n->choices[0].s()), "two");
  EXPECT_EQ(n->colors[1], CallTest::blue);
  EXPECT_EQ(n->texts[0].ws[0], static_cast<CORBA::WChar>(0x20ac));
  EXPECT_EQ(n->texts[0].wbounded[0], static_cast<CORBA::WChar>(0xd83d));
  EXPECT_EQ(n->texts[0].wbounded[1], static_cast<CORBA::WChar>(0xde00));

  // A shared node and a cycle arrive as one object each.
  CORBA::Any_var graph =
      codec.to_any(J("{\"@id\":\"a\",\"id\":1,\"next\":{\"@id\":\"b\",\"id\":2,"
                     "\"next\":{\"@ref\":\"a\"},\"other\":null},\"other\":{\"@"
                     "ref\":\"b\"}}"),
                   CallTest::_tc_Node);
  CallTest::Node* first = nullptr;
  ASSERT_TRUE(graph.in() >>= first);
  ASSERT_NE(first->next(), nullptr);
  EXPECT_EQ(first->next()->id(), 2);
  EXPECT_EQ(first->other(), first->next());
  EXPECT_EQ(first->next()->next(), first);
  first->next()->next(nullptr);  // lets reference counting free the graph

  CORBA::Any_var money = codec.to_any(J("\"-12.5\""), CallTestFixed::_tc_Money);
  CORBA::Fixed m;
  ASSERT_TRUE(money.in() >>= CORBA::Any::to_fixed(m, 9, 2));
  EXPECT_TRUE(m == CORBA::Fixed("-12.5"));
}

}  // namespace

namespace {

// Deep nesting is refused with a message, in both directions, instead of
// exhausting the stack.
TEST(JsonMapping, RefusesNestingDeeperThanTheLimit) {
  ValueCodec codec = Codec();
  json tree = J("{\"name\":\"leaf\",\"kids\":[]}");
  for (int i = 0; i < 3000; ++i)
    tree = json{{"name", "n"}, {"kids", json::array({std::move(tree)})}};
  try {
    CORBA::Any_var any = codec.to_any(tree, CallTest::_tc_Tree, "args[0]");
    ADD_FAILURE() << "accepted";
  } catch (const ValueError& e) {
    EXPECT_NE(std::string(e.what()).find("nested deeper than 1000 levels"),
              std::string::npos)
        << e.what();
    EXPECT_EQ(e.path().compare(0, 19, "args[0].kids[0].kid"), 0);
    EXPECT_LT(std::string(e.what()).size(), 200u);  // the path shortened
  }

  // A sequence of sequences 1200 deep, written by hand.
  CORBA::TypeCode_var tc = CORBA::TypeCode::_duplicate(CORBA::_tc_long);
  cdrMemoryStream data;
  for (int i = 0; i < 1200; ++i) {
    tc = test_orb()->create_sequence_tc(0, tc);
    static_cast<CORBA::ULong>(1) >>= data;
  }
  static_cast<CORBA::Long>(5) >>= data;
  cdrMemoryStream stream;
  CORBA::TypeCode::marshalTypeCode(tc, stream);
  stream.put_octet_array(static_cast<const CORBA::Octet*>(data.bufPtr()),
                         static_cast<int>(data.bufSize()));
  CORBA::Any deep;
  deep <<= stream;
  try {
    json out = codec.to_json(deep, "result");
    ADD_FAILURE() << "read";
  } catch (const ValueError& e) {
    EXPECT_NE(std::string(e.what()).find("nested deeper than 1000 levels"),
              std::string::npos)
        << e.what();
  }
}

}  // namespace
