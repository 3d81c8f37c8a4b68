#include "client/suggest.h"

#include <algorithm>
#include <cctype>

#include "client/listing.h"

namespace {

std::string lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// "::A::B::C" as {"A", "B", "C"}.
std::vector<std::string> parts_of(const std::string& scoped) {
  std::vector<std::string> parts;
  std::size_t pos = 0;
  while (pos < scoped.size()) {
    std::size_t begin = scoped.find_first_not_of(':', pos);
    if (begin == std::string::npos) break;
    std::size_t end = scoped.find("::", begin);
    if (end == std::string::npos) end = scoped.size();
    parts.push_back(scoped.substr(begin, end - begin));
    pos = end;
  }
  return parts;
}

}  // namespace

std::size_t edit_distance(const std::string& a_in, const std::string& b_in) {
  const std::string a = lower(a_in), b = lower(b_in);
  const std::size_t n = a.size(), m = b.size();
  std::vector<std::vector<std::size_t>> d(n + 1,
                                          std::vector<std::size_t>(m + 1));
  for (std::size_t i = 0; i <= n; ++i) d[i][0] = i;
  for (std::size_t j = 0; j <= m; ++j) d[0][j] = j;
  for (std::size_t i = 1; i <= n; ++i) {
    for (std::size_t j = 1; j <= m; ++j) {
      std::size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] =
          std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[n][m];
}

std::string closest_word(const std::string& word,
                         const std::vector<std::string>& candidates) {
  std::size_t limit = std::max<std::size_t>(1, word.size() / 3);
  std::string best;
  std::size_t best_distance = limit + 1;
  for (const std::string& c : candidates) {
    std::size_t d = edit_distance(word, c);
    if (d < best_distance) {
      best_distance = d;
      best = c;
    }
  }
  return best;
}

std::string suggest_definition(CORBA::Repository_ptr repository,
                               const std::string& wanted) {
  std::vector<std::string> parts = parts_of(wanted);
  if (parts.empty()) return std::string();
  RepositoryListing listing(repository);
  // The longest prefix that names a container.
  std::string container_id, container_name = "::";
  std::size_t known = 0;
  for (; known + 1 < parts.size(); ++known) {
    std::string next =
        (known ? container_name : std::string()) + "::" + parts[known];
    CORBA::Contained_var c = repository->lookup(next.c_str());
    if (CORBA::is_nil(c)) break;
    CORBA::String_var id = c->id();
    container_id = id.in();
    container_name = next;
  }
  std::vector<DefinitionSummary> children =
      listing.children(container_id, container_name);
  std::vector<std::string> names;
  for (const DefinitionSummary& s : children) names.push_back(s.name);
  std::string close = closest_word(parts[known], names);
  if (!close.empty()) {
    std::string out =
        (container_name == "::" ? "" : container_name) + "::" + close;
    for (std::size_t i = known + 1; i < parts.size(); ++i)
      out += "::" + parts[i];
    // Only a name that exists is worth suggesting.
    CORBA::Contained_var c = repository->lookup(out.c_str());
    if (!CORBA::is_nil(c)) return out;
    if (known + 1 == parts.size()) return std::string();
  }
  // The simple name somewhere else.
  SearchQuery q;
  q.pattern = parts.back();
  q.ignore_case = true;
  std::vector<DefinitionSummary> found = listing.search(q);
  for (const DefinitionSummary& s : found)
    if (s.scoped_name != wanted) return s.scoped_name;
  return std::string();
}
