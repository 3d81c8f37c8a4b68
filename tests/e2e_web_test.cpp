// The web view and the JSON API over HTTP against a real irserver: the
// pages and the answers agree with what irctl fed in, every answer of the
// API conforms to the OpenAPI document it serves, refusals are clear, and
// hostile definitions created over IIOP show as text.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <atomic>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_hostile.h"
#include "e2e_server.h"
#include "http_client.h"
#include "json_schema.h"

namespace {

using json = nlohmann::json;

// Every kind of definition, with inheritance, a raised exception, an
// inherited attribute, a value type with a private member and an
// initializer, and a documentation comment.
const char kWebIdl[] = R"(
module Web {
  enum Color { red, green, blue };
  typedef sequence<Color> Colors;
  typedef long Matrix[2][3];
  struct Point { long x; long y; };
  union Shape switch (long) {
    case 1: Point p;
    case 2: case 3: string name;
    default: long n;
  };
  exception Failed { string why; };
  const long Answer = 42;
  native Handle;
  // The base of every shape factory.
  interface Base {
    readonly attribute string label;
    void ping();
  };
  interface Shapes : Base {
    Shape make(in Point at, inout Colors c, out Matrix m) raises (Failed);
    oneway void forget(in string what);
    attribute Colors palette;
  };
  valuetype Node {
    public long value;
    private Node next;
    factory make(in long v);
  };
  valuetype Points sequence<Point>;
  module Inner { struct Deep { Point where; }; };
};
)";

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class WebE2E : public IrServerE2E {
 protected:
  void SetUp() override {
    IrServerE2E::SetUp();
    ASSERT_EQ(server_.start(), "");
  }

  void feed(const std::string& idl) {
    std::string path = server_.dir() + "/web.idl";
    write_text(path, idl);
    ProcessResult r =
        run_process({irctl_path(), "--ir", server_.corbaloc(), "feed", path});
    ASSERT_EQ(r.status(), 0) << r.describe();
  }

  HttpReply get(const std::string& target) {
    return http_get(server_.http_port(), target);
  }

  // GET that must answer `status` with JSON; the parsed body.
  json get_json(const std::string& target, int status = 200) {
    HttpReply r = get(target);
    EXPECT_EQ(r.status, status) << target << ": " << r.body;
    EXPECT_EQ(r.header("Content-Type"), "application/json") << target;
    json body = json::parse(r.body, nullptr, false);
    EXPECT_FALSE(body.is_discarded()) << target << ": " << r.body;
    return body;
  }

  IrServerProcess server_;
};

// Names in a list of rows or references.
std::vector<std::string> names_of(const json& list, const char* key) {
  std::vector<std::string> names;
  for (const json& item : list)
    names.push_back(item[key].is_string() ? item[key].get<std::string>() : "");
  return names;
}

const json* find_named(const json& list, const std::string& name) {
  for (const json& item : list)
    if (item.value("name", "") == name) return &item;
  return nullptr;
}

TEST_F(WebE2E, ApiAnswersAgreeWithTheRepositoryAndTheOpenApiDocument) {
  feed(kWebIdl);
  json doc = get_json("/api/v1/openapi.json");
  ASSERT_TRUE(doc.contains("paths"));

  // One request per documented path (and status), each answer checked
  // against the document.
  struct Call {
    const char* path;  // as the document names it
    std::string target;
    int status;
  } calls[] = {
      {"/api/v1/overview", "/api/v1/overview", 200},
      {"/api/v1/definitions/{name}", "/api/v1/definitions/Web/Shapes", 200},
      {"/api/v1/definitions/{name}", "/api/v1/definitions/Web/Node", 200},
      {"/api/v1/definitions/{name}", "/api/v1/definitions/Web/Shape", 200},
      {"/api/v1/definitions/{name}", "/api/v1/definitions/Web/Shapes/make",
       200},
      {"/api/v1/definitions/{name}", "/api/v1/definitions/Web/Nothing", 404},
      {"/api/v1/ids/{id}", "/api/v1/ids/IDL:Web/Base:1.0", 200},
      {"/api/v1/ids/{id}", "/api/v1/ids/IDL:Web/Nothing:1.0", 404},
      {"/api/v1/contents/", "/api/v1/contents/", 200},
      {"/api/v1/contents/", "/api/v1/contents/?limit=5000", 400},
      {"/api/v1/contents/{name}", "/api/v1/contents/Web?offset=2&limit=3", 200},
      {"/api/v1/contents/{name}", "/api/v1/contents/Web/Point", 200},
      {"/api/v1/contents/{name}", "/api/v1/contents/Web/Answer", 404},
      {"/api/v1/used-by/{name}", "/api/v1/used-by/Web/Point", 200},
      {"/api/v1/used-by/{name}", "/api/v1/used-by/Web/Nope", 404},
      {"/api/v1/derived-by/{name}", "/api/v1/derived-by/Web/Base", 200},
      {"/api/v1/derived-by/{name}", "/api/v1/derived-by/Web/Nope", 404},
      {"/api/v1/idl/", "/api/v1/idl/", 200},
      {"/api/v1/idl/", "/api/v1/idl/?deps=maybe", 400},
      {"/api/v1/idl/{name}", "/api/v1/idl/Web/Shapes?deps=1", 200},
      {"/api/v1/idl/{name}", "/api/v1/idl/Web/Nope", 404},
      {"/api/v1/search", "/api/v1/search?q=*a*&kind=Struct,Union", 200},
      {"/api/v1/search", "/api/v1/search?q=oin&match=substring&icase", 200},
      {"/api/v1/search", "/api/v1/search?q=*", 200},
      {"/api/v1/search", "/api/v1/search?q=x&kind=Bogus", 400},
      {"/api/v1/openapi.json", "/api/v1/openapi.json", 200},
  };
  std::set<std::string> exercised;
  std::map<std::string, json> answers;
  for (const Call& c : calls) {
    SCOPED_TRACE(c.target);
    json body = get_json(c.target, c.status);
    ASSERT_TRUE(doc["paths"].contains(c.path)) << c.path;
    const json& responses = doc["paths"][c.path]["get"]["responses"];
    std::string status = std::to_string(c.status);
    ASSERT_TRUE(responses.contains(status)) << c.path << " lacks " << status;
    const json& schema =
        responses[status]["content"]["application/json"]["schema"];
    std::vector<std::string> errors = schema_errors(body, schema, doc);
    EXPECT_TRUE(errors.empty()) << ::testing::PrintToString(errors);
    exercised.insert(c.path);
    answers[c.target] = body;
  }
  // (POST /api/v1/call is checked against the document by the gateway's
  // tests.)
  for (auto it = doc["paths"].begin(); it != doc["paths"].end(); ++it)
    EXPECT_TRUE(exercised.count(it.key()) || !it.value().contains("get"))
        << it.key() << " is not tested";

  // The answers say what the repository holds.
  json overview = answers["/api/v1/overview"];
  std::map<std::string, unsigned> counts;
  for (const json& c : overview["counts"]) counts[c["kind"]] = c["count"];
  EXPECT_EQ(counts["Module"], 2u);
  EXPECT_EQ(counts["Interface"], 3u);  // Object, Base, Shapes
  EXPECT_EQ(counts["Operation"], 3u);
  EXPECT_EQ(counts["ValueMember"], 2u);
  EXPECT_EQ(names_of(overview["modules"], "scoped_name"),
            std::vector<std::string>{"::Web"});

  json shapes = answers["/api/v1/definitions/Web/Shapes"];
  EXPECT_EQ(shapes["id"], "IDL:Web/Shapes:1.0");
  EXPECT_EQ(shapes["defined_in"]["name"], "::Web");
  EXPECT_EQ(names_of(shapes["bases"], "name"),
            std::vector<std::string>{"::Web::Base"});
  const json* make = find_named(shapes["operations"], "make");
  ASSERT_NE(make, nullptr);
  EXPECT_EQ(make->at("raises")[0]["name"], "::Web::Failed");
  EXPECT_EQ(make->at("parameters")[1]["mode"], "inout");
  EXPECT_EQ(make->at("parameters")[2]["type"]["idl"], "::Web::Matrix");
  const json* ping = find_named(shapes["operations"], "ping");
  ASSERT_NE(ping, nullptr);
  EXPECT_TRUE(ping->at("inherited").get<bool>());
  EXPECT_EQ(ping->at("defined_in")["name"], "::Web::Base");
  EXPECT_EQ(find_named(shapes["operations"], "forget")->at("mode"), "oneway");
  EXPECT_EQ(find_named(shapes["attributes"], "label")->at("mode"), "readonly");
  EXPECT_EQ(shapes["contents_total"], 3);
  json base = answers["/api/v1/ids/IDL:Web/Base:1.0"];
  EXPECT_EQ(base["scoped_name"], "::Web::Base");
  // The comment before the definition in the IDL file.
  EXPECT_EQ(base["comment"], "The base of every shape factory.");
  EXPECT_EQ(shapes["comment"], "");

  json shape = answers["/api/v1/definitions/Web/Shape"];
  ASSERT_EQ(shape["cases"].size(), 3u);
  EXPECT_EQ(shape["cases"][1]["labels"], json::array({"2", "3"}));
  EXPECT_TRUE(shape["cases"][2]["default"].get<bool>());
  json node = answers["/api/v1/definitions/Web/Node"];
  EXPECT_EQ(node["members"][1]["access"], "private");
  EXPECT_EQ(node["initializers"][0]["name"], "make");

  json page = answers["/api/v1/contents/Web?offset=2&limit=3"];
  EXPECT_EQ(page["offset"], 2);
  EXPECT_EQ(page["total"], 13);
  EXPECT_EQ(names_of(page["items"], "name"),
            (std::vector<std::string>{"Matrix", "Point", "Shape"}));
  EXPECT_EQ(answers["/api/v1/contents/Web/Point"]["total"], 0);
  std::vector<std::string> users =
      names_of(answers["/api/v1/used-by/Web/Point"]["items"], "scoped_name");
  for (const char* user : {"::Web::Shape", "::Web::Shapes::make",
                           "::Web::Points", "::Web::Inner::Deep"})
    EXPECT_NE(std::find(users.begin(), users.end(), user), users.end()) << user;
  EXPECT_EQ(
      names_of(answers["/api/v1/derived-by/Web/Base"]["items"], "scoped_name"),
      std::vector<std::string>{"::Web::Shapes"});
  std::string idl = answers["/api/v1/idl/Web/Shapes?deps=1"]["idl"];
  EXPECT_TRUE(contains(idl, "interface Shapes : ::Web::Base")) << idl;
  EXPECT_TRUE(contains(idl, "interface Base")) << idl;
  EXPECT_TRUE(contains(idl, "struct Point")) << idl;

  EXPECT_EQ(names_of(answers["/api/v1/search?q=*a*&kind=Struct,Union"]["items"],
                     "scoped_name"),
            (std::vector<std::string>{"::Web::Shape"}));
  EXPECT_EQ(
      names_of(answers["/api/v1/search?q=oin&match=substring&icase"]["items"],
               "scoped_name"),
      (std::vector<std::string>{"::Web::Point", "::Web::Points"}));
  json everything = answers["/api/v1/search?q=*"];
  EXPECT_EQ(everything["total"], overview["total"]);
}

TEST(JsonSchema, ReportsWhatBreaksTheSchema) {
  json doc = {{"components",
               {{"schemas",
                 {{"Ref",
                   {{"type", "object"},
                    {"properties",
                     {{"id", {{"type", "string"}}},
                      {"n", {{"type", "integer"}, {"minimum", 0}}}}},
                    {"required", {"id"}},
                    {"additionalProperties", false}}}}}}}};
  json ref = {{"$ref", "#/components/schemas/Ref"}};
  json list = {{"type", "array"}, {"items", ref}};
  struct Row {
    json value;
    json schema;
    const char* error;  // part of the first error; "" for none
  } rows[] = {
      {json::parse(R"({"id": "x", "n": 1})"), ref, ""},
      {json::parse(R"({"n": 1})"), ref, "$: the required field 'id'"},
      {json::parse(R"({"id": 3})"), ref, "$.id: expected string"},
      {json::parse(R"({"id": "x", "n": -1})"), ref, "below the minimum"},
      {json::parse(R"({"id": "x", "extra": 1})"), ref, "'extra' is not in"},
      {json::parse(R"([{"id": "x"}, {"id": 1}])"), list, "$[1].id"},
      {nullptr, ref, "null where a object"},
      {nullptr, {{"nullable", true}, {"allOf", {ref}}}, ""},
      {"c", {{"type", "string"}, {"enum", {"a", "b"}}}, "is not one of"},
      {1, {{"type", "number"}}, ""},
      {1, {{"oneOf", json::array()}}, "does not know"},
      {1, {{"$ref", "#/components/schemas/Nope"}}, "unresolved"},
  };
  for (const Row& row : rows) {
    std::vector<std::string> errors = schema_errors(row.value, row.schema, doc);
    if (*row.error == '\0') {
      EXPECT_TRUE(errors.empty()) << row.value << ": " << errors[0];
    } else {
      ASSERT_FALSE(errors.empty()) << row.value;
      EXPECT_TRUE(contains(errors[0], row.error)) << errors[0];
    }
  }
}

TEST_F(WebE2E, PagesShowDefinitionsLinkedAndPaged) {
  feed(kWebIdl);
  HttpReply overview = get("/");
  ASSERT_EQ(overview.status, 200);
  EXPECT_EQ(overview.header("Content-Type"), "text/html; charset=utf-8");
  EXPECT_TRUE(contains(overview.body, "href=\"/browse/Web\""));
  EXPECT_TRUE(contains(overview.body, "<form class=\"search-form\""));
  // Each top-level module shows how many definitions it holds.
  HttpReply web_contents = get("/api/v1/contents/Web");
  ASSERT_EQ(web_contents.status, 200);
  unsigned long in_web = json::parse(web_contents.body).at("total");
  EXPECT_GT(in_web, 0u);
  EXPECT_TRUE(contains(overview.body, ">Web</a><span class=\"note\"> (" +
                                          std::to_string(in_web) + ")</span>"))
      << overview.body;

  HttpReply shapes = get("/browse/Web/Shapes");
  ASSERT_EQ(shapes.status, 200);
  for (const char* part :
       {"IDL:Web/Shapes:1.0", "inherited from <a href=\"/browse/Web/Base\">",
        "<a href=\"/browse/Web/Shapes/make\">make</a>",
        "<a href=\"/browse/Web/Failed\">Web::Failed</a>",
        // The IDL text links every type name it uses.
        "<a href=\"/browse/Web/Point\">::Web::Point</a> at",
        "<a href=\"/browse/Web/Base\">::Web::Base</a> {",
        "href=\"/idl/Web/Shapes?deps=1\""})
    EXPECT_TRUE(contains(shapes.body, part)) << part;
  // The inherited ping and label, and only they, are marked so.
  auto count = [](const std::string& text, const std::string& part) {
    std::size_t n = 0;
    for (std::size_t pos = 0; (pos = text.find(part, pos)) != std::string::npos;
         ++pos)
      ++n;
    return n;
  };
  EXPECT_EQ(count(shapes.body, "<tr class=\"inherited\">"), 2u);
  EXPECT_EQ(count(shapes.body, "class=\"inherited\""), 2u);

  struct Page {
    std::string target;
    std::vector<std::string> parts;
  } pages[] = {
      {"/browse/Web/Shape",
       {"case 2, case 3", "default", "<a href=\"/browse/Web/Point\">"}},
      {"/browse/Web/Color", {"<code>red</code>", "<code>blue</code>"}},
      {"/browse/Web/Answer", {"<code>42</code>"}},
      {"/browse/Web/Node", {"private", "factory make", "State members (2)"}},
      {"/browse/Web/Points", {"Boxed type"}},
      {"/browse/Web/Shapes/palette", {"Mode", "normal"}},
      {"/browse/Web/Base",
       {"Derived by (1)", ">Web::Shapes</a>",
        "<div class=\"comment\" id=\"comment\">The base of every shape "
        "factory.</div>"}},
      {"/browse/Web/Point",
       {"Used by", "<a href=\"/browse/Web/Inner/Deep\">Web::Inner::Deep</a>",
        "struct Point { long x; long y; }"}},
      {"/browse/Web?offset=2&limit=3",
       {"3–5 of 13", "href=\"/browse/Web?offset=5&amp;limit=3\"", ">Matrix</a>",
        ">Shape</a>"}},
      {"/browse/", {"href=\"/browse/Web\"", "href=\"/browse/Object\""}},
      {"/search?q=oin&match=substring&icase=1",
       {"2 matches", "Web::Points", "checked"}},
  };
  for (const Page& p : pages) {
    HttpReply r = get(p.target);
    EXPECT_EQ(r.status, 200) << p.target;
    for (const std::string& part : p.parts)
      EXPECT_TRUE(contains(r.body, part)) << p.target << " lacks " << part;
  }

  // A repository id redirects to the page of its definition.
  HttpReply by_id = get("/id/IDL:Web/Shapes:1.0");
  EXPECT_EQ(by_id.status, 302);
  EXPECT_EQ(by_id.header("Location"), "/browse/Web/Shapes");

  HttpReply file = get("/idl/Web/Shapes");
  EXPECT_EQ(file.status, 200);
  EXPECT_EQ(file.header("Content-Type"), "text/plain; charset=utf-8");
  EXPECT_EQ(file.header("Content-Disposition"),
            "attachment; filename=\"Shapes.idl\"");
  EXPECT_TRUE(contains(file.body, "interface Shapes : ::Web::Base {"));

  // Every reply has an ETag that If-None-Match turns into a 304.
  std::string tag = shapes.header("ETag");
  ASSERT_FALSE(tag.empty());
  HttpReply again =
      http_request(server_.http_port(), "GET", "/browse/Web/Shapes",
                   {{"If-None-Match", tag}});
  EXPECT_EQ(again.status, 304);
  EXPECT_EQ(again.body, "");
  HttpReply head =
      http_request(server_.http_port(), "HEAD", "/browse/Web/Shapes");
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.header("ETag"), tag);
  EXPECT_EQ(head.header("Content-Length"), std::to_string(shapes.body.size()));
}

TEST_F(WebE2E, RefusalsAreJsonUnderTheApiAndPagesElsewhere) {
  feed(kWebIdl);
  struct Row {
    std::string target;
    int status;
    const char* message;  // part of the message
  } rows[] = {
      {"/browse/Web/Nothing", 404, "no definition is named ::Web::Nothing"},
      {"/id/IDL:nothing:1.0", 404, "IDL:nothing:1.0"},
      {"/no/such/page", 404, "no page"},
      {"/browse/Web?offset=x", 400, "'offset'"},
      {"/browse/Web?limit=1001", 400, "'limit' must be at most 1000"},
      {"/browse/Web?colour=red", 400, "unknown parameter 'colour'"},
      {"/search?q=a&match=regex", 400, "'match'"},
      {"/search?q=a&kind=Bogus", 400, "unknown kind 'Bogus'"},
      {"/idl/Web?deps=2", 400, "'deps'"},
      {"/api/v1/search", 400, "'q' is missing"},
      {"/api/v1/search?q=a&in=everything", 400, "'in'"},
      {"/api/v1/definitions/", 404, "give a scoped name"},
      {"/api/v1/nothing", 404, "no API endpoint"},
      {"/api/v2/overview", 404, "no API endpoint"},
      {"/api/v1/ids/", 400, "give a repository id"},
      {"/api/v1/contents/Web/Answer", 404, "not a container"},
      // No path leads outside the assets compiled into the server.
      {"/static/../templates/layout.html", 404, ""},
      {"/static/%2e%2e/templates/layout.html", 404, ""},
      {"/static/..%2Ftemplates%2Flayout.html", 404, ""},
      {"/static/style.css/..", 404, ""},
      {"/static/", 404, ""},
      {"/static/%2Fetc%2Fpasswd", 404, ""},
      {"/templates/layout.html", 404, ""},
      {"/api/v1/../../etc/passwd", 404, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.target);
    HttpReply r = get(row.target);
    EXPECT_EQ(r.status, row.status) << r.body;
    bool api = row.target.compare(0, 5, "/api/") == 0;
    if (api) {
      EXPECT_EQ(r.header("Content-Type"), "application/json");
      json body = json::parse(r.body, nullptr, false);
      ASSERT_TRUE(body.is_object()) << r.body;
      EXPECT_EQ(body["status"], row.status);
      EXPECT_TRUE(contains(body.value("message", ""), row.message)) << r.body;
    } else {
      EXPECT_EQ(r.header("Content-Type"), "text/html; charset=utf-8");
      std::string escaped;
      for (char c : std::string(row.message))
        escaped += c == '\'' ? std::string("&#39;") : std::string(1, c);
      EXPECT_TRUE(contains(r.body, escaped)) << r.body;
      EXPECT_FALSE(
          contains(r.body,
                   "<link rel=\"stylesheet\" href=\"/static/style.css\"") ==
          false)
          << "error pages use the site's layout";
    }
  }
  // Nothing can be changed over HTTP.
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH"}) {
    HttpReply r = http_request(server_.http_port(), method,
                               "/api/v1/definitions/Web/Shapes", {}, "{}");
    EXPECT_EQ(r.status, 405) << method;
  }
  EXPECT_EQ(get("/api/v1/definitions/Web/Shapes").status, 200);
  // The assets themselves are there.
  for (const char* asset :
       {"/static/style.css", "/static/app.js", "/static/favicon.svg"})
    EXPECT_EQ(get(asset).status, 200) << asset;
}

// Names, ids and versions come from clients: created over IIOP with
// markup in them, they show as text in every page and as the same
// strings in JSON.
TEST_F(WebE2E, HostileDefinitionsShowAsText) {
  using namespace hostile;
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server_.corbaloc());
    create(repo);
  });
  ASSERT_FALSE(HasFailure());
  std::string encoded_name = encode(kModuleName);
  std::vector<std::string> targets = pages();
  for (const std::string& target : targets) {
    HttpReply r = get(target);
    EXPECT_EQ(r.status, 200) << target << ": " << r.body;
    for (const char* raw : {"<script>alert", "<img src=x", "\"><script>",
                            "</code><script>", "<svg", "<i>", "&amp;<"})
      EXPECT_FALSE(contains(r.body, raw)) << target << " shows " << raw;
    // The only scripts are the site's own, from /static.
    const std::string own = "<script src=\"/static/app.js\" defer>";
    std::size_t pos = 0;
    while ((pos = r.body.find("<script", pos)) != std::string::npos) {
      EXPECT_EQ(r.body.compare(pos, own.size(), own), 0) << target;
      ++pos;
    }
  }
  HttpReply module_page = get("/browse/" + encoded_name);
  EXPECT_TRUE(contains(module_page.body,
                       "IDL:x/&lt;script&gt;alert(1)&lt;/script&gt;:1.0"));
  EXPECT_TRUE(contains(module_page.body,
                       "&quot;&gt;&lt;script&gt;alert(3)&lt;/script&gt;"));
  HttpReply id_page = get("/id/" + encode(kModuleId));
  EXPECT_EQ(id_page.status, 302);
  EXPECT_EQ(id_page.header("Location"), "/browse/" + encoded_name);

  // JSON carries the strings exactly.
  json def = get_json("/api/v1/definitions/" + encoded_name);
  EXPECT_EQ(def["id"], kModuleId);
  EXPECT_EQ(def["name"], kModuleName);
  EXPECT_EQ(def["version"], kVersion);
  EXPECT_EQ(def["comment"], kComment);
  EXPECT_TRUE(contains(module_page.body,
                       "Read &lt;b&gt;this&lt;/b&gt;\n&lt;script&gt;alert(7)"
                       "&lt;/script&gt; &amp; &quot;that&quot;"));
  json i = get_json("/api/v1/definitions/" + encoded_name + "/I");
  EXPECT_EQ(i["id"], kInterfaceId);
  EXPECT_EQ(i["operations"][0]["name"], kOperation);
  json c =
      get_json("/api/v1/definitions/" + encoded_name + "/" + encode(kConstant));
  EXPECT_EQ(c["value"], "\"<script>alert(6)</script>\"");
}

TEST_F(WebE2E, LargeContainersArePaged) {
  const int kChildren = 2500;
  Guarded([&] {
    IRExt::Repository_var repo = ext_repository_at(server_.corbaloc());
    CORBA::ModuleDef_var big = repo->create_module("IDL:Big:1.0", "Big", "1.0");
    repo->ext_beginUserTransaction();
    for (int i = 0; i < kChildren; ++i) {
      std::string n = "M" + std::to_string(i);
      CORBA::ModuleDef_var m = big->create_module(
          ("IDL:Big/" + n + ":1.0").c_str(), n.c_str(), "1.0");
    }
    repo->ext_endUserTransaction();
  });
  ASSERT_FALSE(HasFailure());
  HttpReply first = get("/browse/Big");
  ASSERT_EQ(first.status, 200);
  EXPECT_TRUE(contains(first.body, "1–100 of 2500"));
  EXPECT_TRUE(contains(first.body, ">M99</a>"));
  EXPECT_FALSE(contains(first.body, ">M100</a>"));
  HttpReply last = get("/browse/Big?offset=2400&limit=1000");
  EXPECT_TRUE(contains(last.body, "2401–2500 of 2500"));
  EXPECT_TRUE(contains(last.body, ">M2499</a>"));
  EXPECT_TRUE(contains(last.body, "class=\"disabled\">next"));
  json beyond = get_json("/api/v1/contents/Big?offset=5000");
  EXPECT_EQ(beyond["items"], json::array());
  EXPECT_EQ(beyond["total"], kChildren);
  json def = get_json("/api/v1/definitions/Big");
  EXPECT_EQ(def["contents_total"], kChildren);
  EXPECT_FALSE(def.contains("contents"));
}

TEST_F(WebE2E, ReadOnlyServersServeHttpOffMeansOffAndATakenPortIsRefused) {
  feed(kWebIdl);
  server_.stop();
  server_.extra_args = {"--read-only"};
  ASSERT_EQ(server_.restart(), "");
  EXPECT_EQ(get("/browse/Web/Shapes").status, 200);
  EXPECT_EQ(get_json("/api/v1/overview")["modules"].size(), 1u);

  // Another server may not take the same HTTP port.
  IrServerProcess second;
  second.extra_args = {"--http",
                       "127.0.0.1:" + std::to_string(server_.http_port())};
  ProcessResult r = run_irserver(
      {"--db", second.db_path, "--endpoint",
       "giop:tcp:127.0.0.1:" + std::to_string(second.port()), "--http",
       "127.0.0.1:" + std::to_string(server_.http_port())});
  EXPECT_EQ(r.status(), 1) << r.describe();
  EXPECT_TRUE(contains(r.err,
                       "irserver: cannot start: cannot listen for HTTP "
                       "on 127.0.0.1:" +
                           std::to_string(server_.http_port())))
      << r.err;
  EXPECT_EQ(get("/").status, 200) << "the first server lost its port";

  // --http off: nothing listens.
  server_.stop();
  server_.http = false;
  ASSERT_EQ(server_.restart(), "");
  EXPECT_EQ(get("/").status, 0);
}

// Many HTTP readers at once, beside an IIOP writer: every page answers,
// and the server, whose repository they all share, stops cleanly.
TEST_F(WebE2E, ConcurrentReadersAndAWriterAreSerialized) {
  feed(kWebIdl);
  std::atomic<bool> stop{false};
  std::atomic<int> pages{0};
  std::vector<std::string> failures;
  std::mutex failures_mutex;
  const char* const targets[] = {"/",
                                 "/browse/Web/Shapes",
                                 "/search?q=*o*",
                                 "/api/v1/contents/Web",
                                 "/browse/Busy",
                                 "/api/v1/used-by/Web/Point"};
  std::vector<std::thread> readers;
  for (int t = 0; t < 6; ++t) {
    readers.emplace_back([&, t] {
      for (int i = t; !stop; ++i) {
        std::string target = targets[i % 6];
        HttpReply r = http_get(server_.http_port(), target);
        ++pages;
        bool busy_missing = r.status == 404 && target == "/browse/Busy";
        if (r.status != 200 && !busy_missing) {
          std::lock_guard<std::mutex> lock(failures_mutex);
          failures.push_back(target + ": " + std::to_string(r.status) + " " +
                             r.error);
        }
      }
    });
  }
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server_.corbaloc());
    CORBA::ModuleDef_var busy =
        repo->create_module("IDL:Busy:1.0", "Busy", "1.0");
    for (int i = 0; i < 300; ++i) {
      std::string n = "M" + std::to_string(i);
      CORBA::ModuleDef_var m = busy->create_module(
          ("IDL:Busy/" + n + ":1.0").c_str(), n.c_str(), "1.0");
    }
  });
  stop = true;
  for (std::thread& t : readers) t.join();
  EXPECT_EQ(failures, std::vector<std::string>());
  EXPECT_GT(pages, 10);
  EXPECT_EQ(get_json("/api/v1/contents/Busy")["total"], 300);
  server_.stop();
}

}  // namespace
