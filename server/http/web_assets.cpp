#include "http/web_assets.h"

#include <cstring>
#include <map>
#include <stdexcept>

const WebAsset* find_web_asset(const std::string& name) {
  std::size_t lo = 0, hi = kWebAssetCount;
  while (lo < hi) {
    std::size_t mid = (lo + hi) / 2;
    int c = std::strcmp(kWebAssets[mid].name, name.c_str());
    if (c == 0) return &kWebAssets[mid];
    if (c < 0)
      lo = mid + 1;
    else
      hi = mid;
  }
  return nullptr;
}

const std::string& web_asset_text(const std::string& name) {
  // Built once, read-only afterwards: safe from every worker thread.
  static const std::map<std::string, std::string> texts = [] {
    std::map<std::string, std::string> m;
    for (std::size_t i = 0; i < kWebAssetCount; ++i)
      m.emplace(kWebAssets[i].name, kWebAssets[i].text());
    return m;
  }();
  auto it = texts.find(name);
  if (it == texts.end())
    throw std::logic_error("web asset " + name + " is not built in");
  return it->second;
}

std::string web_asset_media_type(const std::string& name) {
  static const std::pair<const char*, const char*> kTypes[] = {
      {".css", "text/css; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".json", "application/json"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
      {".ico", "image/x-icon"},
      {".html", "text/html; charset=utf-8"},
      {".txt", "text/plain; charset=utf-8"},
  };
  std::string::size_type dot = name.rfind('.');
  if (dot != std::string::npos) {
    std::string ext = name.substr(dot);
    for (const auto& t : kTypes)
      if (ext == t.first) return t.second;
  }
  return "application/octet-stream";
}
