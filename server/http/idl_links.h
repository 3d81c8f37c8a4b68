// Finding the type names in printed IDL, so that the web view can link
// each one to its definition's page.
#ifndef IR_SERVER_HTTP_IDL_LINKS_H
#define IR_SERVER_HTTP_IDL_LINKS_H

#include <set>
#include <string>
#include <vector>

struct IdlName {
  std::size_t offset;  // where the name starts in the text
  std::size_t length;
  // The scoped name it stands for: "::A::B" for "::A::_B" (a leading '_'
  // only escapes a name that is an IDL keyword).
  std::string scoped_name;
};

// The absolute scoped names ("::A::B") in IDL text as irctl's printer
// writes it, outside string and character literals, comments and
// #pragma lines, in order.
std::vector<IdlName> idl_names(const std::string& text);

// The text as HTML: escaped, with every name of `idl_names` whose scoped
// name is in `linked` made a link to its page.
std::string idl_html(const std::string& text,
                     const std::set<std::string>& linked);

#endif
