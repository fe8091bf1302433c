#include "src/common/preproc/fields.h"

#include "src/common/str/str.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/query.h"

namespace zelk::preproc {

std::string text_of(const xmlNode* element) {
  return element == nullptr ? "" : str::strip(xml::content(*element));
}

ScaleType scale_of(const xmlNode* element) {
  return named(scale_type_names,
               xml::attribute(element, "scale").value_or("constant"),
               ScaleType::CONSTANT);
}

std::optional<std::int64_t> number_between(std::string_view text,
                                           std::int64_t lowest,
                                           std::int64_t highest,
                                           const xmlNode& at,
                                           const std::string& path) {
  const std::optional<std::int64_t> number = xml::whole_number(text);
  if (number && *number >= lowest && *number <= highest) return number;
  xml::complain(
      path,
      {xml::line_of(at),
       "expected a whole number from " + std::to_string(lowest) + " to " +
           std::to_string(highest) + "; found '" + xml::excerpt(text) + "'"});
  return std::nullopt;
}

}  // namespace zelk::preproc
