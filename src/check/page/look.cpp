#include "src/check/page/look.h"

#include "src/check/page/palette.h"

namespace zelk::check::html {

const std::string& page_style() {
  static const std::string style = palette_style() + std::string(page_css);
  return style;
}

const std::string& page_script() {
  static const std::string script =
      "//<![CDATA[\n" + std::string(page_js) + "//]]>\n";
  return script;
}

}  // namespace zelk::check::html
