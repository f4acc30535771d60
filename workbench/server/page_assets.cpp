#include "workbench/server/page_assets.h"

#include "workbench/documents/embed.h"

VELMORA_EMBED(velmora_web_page, VELMORA_WEB_FOLDER "/index.html");
VELMORA_EMBED(velmora_web_script, VELMORA_WEB_FOLDER "/app.js");
VELMORA_EMBED(velmora_web_style, VELMORA_WEB_FOLDER "/app.css");
VELMORA_EMBED(velmora_web_icon, VELMORA_WEB_FOLDER "/icon.svg");

namespace velmora {

const PageAsset* FindPageAsset(std::string_view path) {
  static const PageAsset kAssets[] = {
      {"/", "text/html; charset=utf-8", VELMORA_EMBEDDED(velmora_web_page)},
      {"/app.js", "text/javascript; charset=utf-8", VELMORA_EMBEDDED(velmora_web_script)},
      {"/app.css", "text/css; charset=utf-8", VELMORA_EMBEDDED(velmora_web_style)},
      {"/icon.svg", "image/svg+xml", VELMORA_EMBEDDED(velmora_web_icon)},
  };
  for (const PageAsset& asset : kAssets) {
    if (asset.path == path) return &asset;
  }
  return nullptr;
}

}  // namespace velmora
