// The files under web/ (stylesheet, script, icon, page templates, the
// OpenAPI document), compiled into irserver by cmake/embed_files.cmake.
#ifndef IR_SERVER_HTTP_WEB_ASSETS_H
#define IR_SERVER_HTTP_WEB_ASSETS_H

#include <cstddef>
#include <string>

struct WebAsset {
  const char* name;  // the path below web/, e.g. "static/style.css"
  const unsigned char* data;
  std::size_t size;

  std::string text() const {
    return std::string(reinterpret_cast<const char*>(data), size);
  }
};

// Sorted by name.
extern const WebAsset kWebAssets[];
extern const std::size_t kWebAssetCount;

// The asset of that exact name, or nullptr: names are compared whole, so
// no request can reach anything but these files.
const WebAsset* find_web_asset(const std::string& name);

// The text of an asset that irserver cannot work without (a template);
// throws std::logic_error when the build left it out.
const std::string& web_asset_text(const std::string& name);

// The media type for an asset name's extension.
std::string web_asset_media_type(const std::string& name);

#endif
