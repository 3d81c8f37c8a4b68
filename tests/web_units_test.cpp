// The web view's building blocks that need no server: the --http value,
// URL decoding and encoding, query parameters, HTML escaping and page
// templates.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "http/html.h"
#include "http/http_address.h"
#include "http/url_codec.h"
#include "http/web_request.h"

namespace {

TEST(HttpAddress, ParsesAddressesAndRefusesOthers) {
  struct Row {
    const char* text;
    bool ok;
    bool enabled;
    const char* host;
    int port;
  } rows[] = {
      {"127.0.0.1:2811", true, true, "127.0.0.1", 2811},
      {"off", true, false, "", 0},
      {":8080", true, true, "", 8080},
      {"[::1]:0", true, true, "::1", 0},
      {"localhost:65535", true, true, "localhost", 65535},
      {"127.0.0.1", false, false, "", 0},
      {"127.0.0.1:", false, false, "", 0},
      {"127.0.0.1:65536", false, false, "", 0},
      {"127.0.0.1:-1", false, false, "", 0},
      {"127.0.0.1:80x", false, false, "", 0},
      {"::1:80", false, false, "", 0},
      {"[::1]80", false, false, "", 0},
      {"[]:80", false, false, "", 0},
      {"a b:80", false, false, "", 0},
      {"", false, false, "", 0},
      {"on", false, false, "", 0},
  };
  for (const Row& r : rows) {
    HttpAddress a;
    std::string error = parse_http_address(r.text, &a);
    EXPECT_EQ(error.empty(), r.ok) << r.text << ": " << error;
    if (!r.ok) {
      EXPECT_NE(error.find(r.text), std::string::npos) << error;
      continue;
    }
    EXPECT_EQ(a.enabled, r.enabled) << r.text;
    if (!r.enabled) continue;
    EXPECT_EQ(a.host, r.host) << r.text;
    EXPECT_EQ(a.port, r.port) << r.text;
    HttpAddress again;
    EXPECT_EQ(parse_http_address(a.text(), &again), "") << a.text();
    EXPECT_EQ(again.text(), a.text());
  }
  EXPECT_EQ(http_url("127.0.0.1", 2811), "http://127.0.0.1:2811/");
  EXPECT_EQ(http_url("::1", 80), "http://[::1]:80/");
}

TEST(UrlCodec, DecodesStrictlyAndEncodesWhatMustBe) {
  struct Row {
    const char* in;
    bool plus;
    bool ok;
    const char* out;
  } rows[] = {
      {"a%20b", false, true, "a b"},
      {"a+b", false, true, "a+b"},
      {"a+b", true, true, "a b"},
      {"%3Cscript%3e", false, true, "<script>"},
      {"%", false, false, ""},
      {"%4", false, false, ""},
      {"%zz", false, false, ""},
      {"a%00b", false, false, ""},
      {"%C3%A9", false, true, "\xC3\xA9"},
  };
  for (const Row& r : rows) {
    std::string out;
    EXPECT_EQ(percent_decode(r.in, r.plus, &out), r.ok) << r.in;
    if (r.ok) {
      EXPECT_EQ(out, r.out) << r.in;
    }
  }
  EXPECT_EQ(percent_encode("IDL:x/<a b>?#%:1.0", ":/"),
            "IDL:x/%3Ca%20b%3E%3F%23%25:1.0");
  EXPECT_EQ(percent_encode("Name_1-x.y~"), "Name_1-x.y~");
  std::string back;
  const std::string all = "a/b?c#d%e f+g&h=i\xC3\xA9";
  ASSERT_TRUE(percent_decode(percent_encode(all), false, &back));
  EXPECT_EQ(back, all);
}

TEST(UrlCodec, SplitsPathsAndQueries) {
  std::vector<std::string> segments;
  EXPECT_EQ(split_path("/browse/CosNaming/NamingContext", &segments), "");
  EXPECT_EQ(segments,
            (std::vector<std::string>{"browse", "CosNaming", "NamingContext"}));
  EXPECT_EQ(split_path("/a%2Fb/", &segments), "");
  EXPECT_EQ(segments, std::vector<std::string>{"a/b"});
  EXPECT_EQ(split_path("/", &segments), "");
  EXPECT_TRUE(segments.empty());
  EXPECT_NE(split_path("/a//b", &segments), "");
  EXPECT_NE(split_path("/a/%zz", &segments), "");
  EXPECT_NE(split_path("a", &segments), "");

  QueryParams q;
  EXPECT_EQ(
      parse_query("q=*Naming*&kind=Interface&kind=Struct&icase&&x=a+b", &q),
      "");
  EXPECT_EQ(q, (QueryParams{{"q", "*Naming*"},
                            {"kind", "Interface"},
                            {"kind", "Struct"},
                            {"icase", ""},
                            {"x", "a b"}}));
  EXPECT_NE(parse_query("q=%", &q), "");
  EXPECT_NE(parse_query("=value", &q), "");
}

WebRequest request_with(const std::string& query) {
  WebRequest r;
  EXPECT_EQ(parse_query(query, &r.query), "") << query;
  return r;
}

// Runs `read` on a reader of `query`; the HttpError's message, or "".
template <class Read>
std::string refusal(const std::string& query, Read read) {
  WebRequest r = request_with(query);
  QueryReader reader(r);
  try {
    read(reader);
    reader.finish();
  } catch (const HttpError& e) {
    EXPECT_EQ(e.status(), 400);
    return e.what();
  }
  return "";
}

TEST(QueryReader, ReadsNumbersFlagsAndTextsAndRefusesTheRest) {
  WebRequest r = request_with("offset=20&limit=5&icase=yes&kind=A&kind=B");
  QueryReader reader(r);
  EXPECT_EQ(reader.number("offset", 0, 100), 20u);
  EXPECT_EQ(reader.number("limit", 10, 100), 5u);
  EXPECT_EQ(reader.number("absent", 7, 100), 7u);
  EXPECT_TRUE(reader.flag("icase"));
  EXPECT_FALSE(reader.flag("deps"));
  EXPECT_EQ(reader.all("kind"), (std::vector<std::string>{"A", "B"}));
  EXPECT_NO_THROW(reader.finish());

  auto number = [](QueryReader& q) { q.number("limit", 10, 100); };
  auto flag = [](QueryReader& q) { q.flag("icase"); };
  auto text = [](QueryReader& q) { q.text("q"); };
  struct Row {
    const char* query;
    std::function<void(QueryReader&)> read;
    const char* message;  // part of the refusal; "" for none
  } rows[] = {
      {"limit=101", number, "'limit' must be at most 100"},
      {"limit=-1", number, "'limit' must be a whole number"},
      {"limit=", number, "'limit' must be a whole number"},
      {"limit=99999999999", number, "'limit' must be a whole number"},
      {"limit=1e2", number, "'limit' must be a whole number"},
      {"icase=maybe", flag, "'icase' must be true or false"},
      {"icase=off", flag, ""},
      {"q=a&q=b", text, "'q' is given more than once"},
      {"q=a&bogus=1", text, "unknown parameter 'bogus'"},
  };
  for (const Row& row : rows) {
    std::string message = refusal(row.query, row.read);
    if (*row.message == '\0')
      EXPECT_EQ(message, "") << row.query;
    else
      EXPECT_NE(message.find(row.message), std::string::npos)
          << row.query << ": " << message;
  }
}

TEST(Html, EscapesEverythingFromTheRepository) {
  EXPECT_EQ(html_escape("IDL:x/<script>alert(1)</script>:1.0"),
            "IDL:x/&lt;script&gt;alert(1)&lt;/script&gt;:1.0");
  EXPECT_EQ(html_escape("a\"b'c&d"), "a&quot;b&#39;c&amp;d");
  // UTF-8 passes; broken sequences and control characters do not.
  EXPECT_EQ(html_escape("caf\xC3\xA9"), "caf\xC3\xA9");
  EXPECT_EQ(html_escape("x\xC3y"), "x\xEF\xBF\xBDy");
  EXPECT_EQ(html_escape("\xED\xA0\x80"),
            "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");  // a surrogate
  EXPECT_EQ(html_escape("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");  // overlong
  EXPECT_EQ(html_escape("a\x01\x7F\tb\n"), "a\xEF\xBF\xBD\xEF\xBF\xBD\tb\n");

  HtmlOut out;
  out.open("a", {{"href", "/x?a=1&b=\"2\""}}).text("<b>").close("a");
  EXPECT_EQ(out.str(), "<a href=\"/x?a=1&amp;b=&quot;2&quot;\">&lt;b&gt;</a>");
}

TEST(Html, FillsTemplatesEscapedOrRaw) {
  EXPECT_EQ(fill_template("<p>{{a}}</p>{{{b}}}", {{"a", "<i>"}, {"b", "<i>"}}),
            "<p>&lt;i&gt;</p><i>");
  EXPECT_EQ(fill_template("no fields", {}), "no fields");
  EXPECT_THROW(fill_template("{{missing}}", {}), std::logic_error);
  EXPECT_THROW(fill_template("{{open", {{"open", ""}}), std::logic_error);
}

}  // namespace
