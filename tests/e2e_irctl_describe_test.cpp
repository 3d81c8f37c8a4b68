// irctl describe: the description model read over IIOP, as text and as
// JSON, for every kind of definition.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_irctl_fixture.h"

namespace {

using nlohmann::json;

const char kZoo[] = R"(
module Zoo {
  exception Full { long amount; };
  struct Food { string kind; long grams[2][3]; };
  typedef sequence<Food, 4> Foods;
  enum Color { red, green, blue };
  const string Motto = "purr \"loud\"";
  const long Limit = 12;
  union Choice switch (Color) {
    case red: case green: long warm;
    default: string other;
  };
  interface Animal {
    readonly attribute string name;
    void eat(in Foods meal, out long left) raises (Full) context ("HUNGER");
  };
  interface Cat : Animal {
    oneway void purr(in long volume);
    attribute Color coat;
  };
  interface Kitten : Cat {};
  valuetype Pet {
    public Animal owner;
    private Foods stock;
    factory adopt(in string name);
    long age();
  };
  valuetype Puppy : Pet { public long tricks; };
  valuetype Tag long;
  native Handle;
};
)";

json ref(const std::string& name, const std::string& id) {
  return {{"name", name}, {"id", id}};
}

json named_type(const std::string& idl, std::vector<json> named = {},
                std::vector<int> dims = {}) {
  return {{"idl", idl},
          {"dimensions", dims},
          {"named", named.empty() ? json::array() : json(named)}};
}

class DescribeE2E : public IrctlE2E {
 protected:
  void SetUp() override {
    IrctlE2E::SetUp();
    feed_ok({idl_file("zoo.idl", kZoo)});
  }

  // The JSON description of one definition.
  json described(const std::string& name) {
    json doc = irctl_json({"describe", name});
    EXPECT_TRUE(doc.contains("definitions")) << doc;
    if (!doc.contains("definitions") || doc["definitions"].size() != 1)
      return json::object();
    return doc["definitions"][0];
  }
};

// Each row: a definition and fields its JSON description must hold with
// exactly these values.
TEST_F(DescribeE2E, JsonCarriesEveryFieldOfEveryKind) {
  const json foods = ref("::Zoo::Foods", "IDL:Zoo/Foods:1.0");
  const json color = ref("::Zoo::Color", "IDL:Zoo/Color:1.0");
  struct Row {
    const char* name;
    json fields;
  };
  const Row rows[] = {
      {"::Zoo",
       {{"kind", "Module"},
        {"scoped_name", "::Zoo"},
        {"defined_in", {{"name", "::"}, {"id", ""}}},
        {"type_code", ""},
        {"comment", ""}}},
      {"::Zoo::Full",
       {{"kind", "Exception"},
        {"type_code", "exception Full { long amount; }"},
        {"members", {{{"name", "amount"}, {"type", named_type("long")}}}}}},
      {"::Zoo::Food",
       {{"kind", "Struct"},
        {"id", "IDL:Zoo/Food:1.0"},
        {"version", "1.0"},
        {"defined_in", ref("::Zoo", "IDL:Zoo:1.0")},
        {"members",
         {{{"name", "kind"}, {"type", named_type("string")}},
          {{"name", "grams"}, {"type", named_type("long", {}, {2, 3})}}}}}},
      {"::Zoo::Foods",
       {{"kind", "Alias"},
        {"type", named_type("sequence<::Zoo::Food, 4>",
                            {ref("::Zoo::Food", "IDL:Zoo/Food:1.0")})}}},
      {"::Zoo::Color",
       {{"kind", "Enum"},
        {"enumerators", {"red", "green", "blue"}},
        {"type_code", "enum Color { red, green, blue }"}}},
      {"::Zoo::Motto",
       {{"kind", "Constant"},
        {"type", named_type("string")},
        {"value", "\"purr \\\"loud\\\"\""}}},
      {"::Zoo::Limit", {{"type", named_type("long")}, {"value", "12"}}},
      {"::Zoo::Choice",
       {{"kind", "Union"},
        {"discriminator", named_type("::Zoo::Color", {color})},
        {"cases",
         {{{"name", "warm"},
           {"type", named_type("long")},
           {"labels", {"::Zoo::red", "::Zoo::green"}},
           {"default", false}},
          {{"name", "other"},
           {"type", named_type("string")},
           {"labels", json::array()},
           {"default", true}}}}}},
      {"::Zoo::Animal::eat",
       {{"kind", "Operation"},
        {"mode", "normal"},
        {"result", named_type("void")},
        {"parameters",
         {{{"name", "meal"},
           {"mode", "in"},
           {"type", named_type("::Zoo::Foods", {foods})}},
          {{"name", "left"}, {"mode", "out"}, {"type", named_type("long")}}}},
        {"raises", {ref("::Zoo::Full", "IDL:Zoo/Full:1.0")}},
        {"contexts", {"HUNGER"}},
        {"defined_in", ref("::Zoo::Animal", "IDL:Zoo/Animal:1.0")}}},
      {"::Zoo::Cat::coat",
       {{"kind", "Attribute"},
        {"mode", "normal"},
        {"type", named_type("::Zoo::Color", {color})}}},
      {"::Zoo::Animal",
       {{"kind", "Interface"},
        {"bases", json::array()},
        {"derived", {ref("::Zoo::Cat", "IDL:Zoo/Cat:1.0")}},
        {"type_code", "interface Animal"}}},
      {"::Zoo::Pet",
       {{"kind", "Value"},
        {"is_abstract", false},
        {"is_custom", false},
        {"is_truncatable", false},
        {"base_value", nullptr},
        {"abstract_base_values", json::array()},
        {"supported_interfaces", json::array()},
        {"derived", {ref("::Zoo::Puppy", "IDL:Zoo/Puppy:1.0")}},
        {"members",
         {{{"name", "owner"},
           {"id", "IDL:Zoo/Pet/owner:1.0"},
           {"version", "1.0"},
           {"access", "public"},
           {"type", named_type("::Zoo::Animal",
                               {ref("::Zoo::Animal", "IDL:Zoo/Animal:1.0")})}},
          {{"name", "stock"},
           {"id", "IDL:Zoo/Pet/stock:1.0"},
           {"version", "1.0"},
           {"access", "private"},
           {"type", named_type("::Zoo::Foods", {foods})}}}},
        {"initializers",
         {{{"name", "adopt"},
           {"parameters",
            {{{"name", "name"}, {"type", named_type("string")}}}}}}}}},
      {"::Zoo::Puppy",
       {{"base_value", ref("::Zoo::Pet", "IDL:Zoo/Pet:1.0")},
        {"derived", json::array()}}},
      {"::Zoo::Tag", {{"kind", "ValueBox"}, {"type", named_type("long")}}},
      {"::Zoo::Handle", {{"kind", "Native"}, {"scoped_name", "::Zoo::Handle"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    json d = described(row.name);
    for (const char* common : {"kind", "name", "scoped_name", "id", "version",
                               "defined_in", "comment", "type_code"})
      EXPECT_TRUE(d.contains(common)) << common << " missing in " << d;
    for (const auto& field : row.fields.items())
      EXPECT_EQ(d[field.key()], field.value()) << field.key();
  }

  // Containers list their contents, oldest first.
  json zoo = described("::Zoo");
  ASSERT_TRUE(zoo["contents"].is_array()) << zoo;
  ASSERT_GE(zoo["contents"].size(), 3u) << zoo;
  EXPECT_EQ(zoo["contents"][0], json({{"kind", "Exception"},
                                      {"name", "Full"},
                                      {"id", "IDL:Zoo/Full:1.0"}}));
  EXPECT_EQ(zoo["contents"][1]["name"], "Food");
}

// Inherited operations and attributes come after the own ones, each
// marked with the definition that declares it.
TEST_F(DescribeE2E, InheritedFeaturesNameTheBaseTheyComeFrom) {
  struct Feature {
    std::string list;  // "operations" or "attributes"
    std::string name;
    std::string from;
    bool inherited;
  };
  const std::pair<const char*, std::vector<Feature>> rows[] = {
      {"::Zoo::Kitten",
       {{"operations", "eat", "::Zoo::Animal", true},
        {"operations", "purr", "::Zoo::Cat", true},
        {"attributes", "name", "::Zoo::Animal", true},
        {"attributes", "coat", "::Zoo::Cat", true}}},
      {"::Zoo::Cat",
       {{"operations", "purr", "::Zoo::Cat", false},
        {"operations", "eat", "::Zoo::Animal", true},
        {"attributes", "coat", "::Zoo::Cat", false},
        {"attributes", "name", "::Zoo::Animal", true}}},
      {"::Zoo::Puppy", {{"operations", "age", "::Zoo::Pet", true}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    json d = described(row.first);
    std::map<std::string, std::vector<std::string>> seen;
    for (const std::string list : {"operations", "attributes"})
      for (const json& f : d[list])
        seen[list].push_back(
            f["name"].get<std::string>() + " " +
            f["defined_in"]["name"].get<std::string>() + " " +
            (f["inherited"].get<bool>() ? "inherited" : "own"));
    std::map<std::string, std::vector<std::string>> expected;
    for (const Feature& f : row.second)
      expected[f.list].push_back(f.name + " " + f.from + " " +
                                 (f.inherited ? "inherited" : "own"));
    for (const auto& e : expected)
      EXPECT_EQ(seen[e.first], e.second) << e.first;
  }

  // The text says the same with scoped names.
  ProcessResult text = irctl({"describe", "::Zoo::Cat"});
  ASSERT_EQ(text.status(), 0) << text.describe();
  for (const char* line :
       {"kind: Interface\n", "scoped name: ::Zoo::Cat\n",
        "defined in: ::Zoo (IDL:Zoo:1.0)\n", "base interfaces: ::Zoo::Animal\n",
        "derived interfaces: ::Zoo::Kitten\n",
        "  oneway void purr(in long volume)\n",
        "  void eat(in ::Zoo::Foods meal, out long left) raises (::Zoo::Full) "
        "context (\"HUNGER\")  (from ::Zoo::Animal)\n",
        "  attribute ::Zoo::Color coat\n",
        "  readonly attribute string name  (from ::Zoo::Animal)\n"})
    EXPECT_TRUE(contains(text.out, line)) << line << " missing in " << text.out;
}

// Several names in one call: one description each, in order; a name that
// is not there fails the call without hiding the others.
TEST_F(DescribeE2E, SeveralNamesPerCall) {
  json doc = irctl_json({"describe", "::Zoo::Tag", "IDL:Zoo/Food:1.0"});
  ASSERT_EQ(doc["definitions"].size(), 2u) << doc;
  EXPECT_EQ(doc["definitions"][0]["scoped_name"], "::Zoo::Tag");
  EXPECT_EQ(doc["definitions"][1]["scoped_name"], "::Zoo::Food");

  ProcessResult text =
      irctl({"describe", "::Zoo::Tag", "::Zoo::Nope", "::Zoo::Handle"});
  EXPECT_EQ(text.status(), 1) << text.describe();
  EXPECT_TRUE(contains(text.out, "scoped name: ::Zoo::Tag\n")) << text.out;
  EXPECT_TRUE(contains(text.out, "\n\nkind: Native\n")) << text.out;
  EXPECT_TRUE(contains(text.err, "::Zoo::Nope: no such definition"))
      << text.err;
}

}  // namespace
