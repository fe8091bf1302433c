#include "src/common/facts/output_series.h"

#include <utility>

#include "src/common/facts/form_reader.h"

namespace zelk::facts {

class output_series::reader : public form_reader {
 public:
  using form_reader::form_reader;
};

output_series::output_series(std::shared_ptr<const declaration> by,
                             value_table& values, std::size_t name_limit)
    : by_(std::move(by)),
      reader_(std::make_unique<reader>(*by_->all_, values, name_limit, true)) {}

output_series::~output_series() = default;

const numbered_extraction& output_series::read(std::string_view output,
                                               int exit_status) {
  return reader_->read(output, exit_status);
}

const std::string& output_series::name(const numbered_fact& of) const {
  return reader_->name(of);
}

const fact_traits& output_series::traits(const numbered_fact& of) const {
  return reader_->traits(of);
}

}  // namespace zelk::facts
