// What the page allows a browser to do with it, and the texts for that.

#pragma once

#include <string>
#include <string_view>

namespace zelk::check::html {

std::string base64(std::string_view bytes);

// "sha256-...", as a policy names a text.
std::string content_hash(std::string_view text);

// "data:image/png;base64,...". A type that is no picture's becomes
// "application/octet-stream", which nothing draws.
std::string data_address(std::string_view media_type, std::string_view bytes);

// Nothing is loaded, nothing is sent, and no style and script but these two run
// ("": none). With `beside`, they lie beside the page instead.
std::string content_policy(std::string_view style, std::string_view script,
                           bool beside);

}  // namespace zelk::check::html
