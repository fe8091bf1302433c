#include "src/collect/src/provider/datastore_row.h"

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/datastore/controller.h"
#include "src/common/log/captured_log.h"
#include "src/common/preproc/config.h"

namespace zelk {
namespace {

using datastore::DataStoreController;
using datastore::DataStoreExtension;
using lines = std::vector<std::string>;

static_assert(offsetof(storable_result, row) == sizeof(provider_result),
              "the row lies directly behind its result");

class asked_extension : public DataStoreExtension {
 public:
  int control(unsigned short operation, const void* input, void* output,
              void* extra) override {
    ++calls;
    code = operation;
    only_output = !input && !extra;
    const auto& row = *static_cast<datastore_row*>(output);
    stdout = row.stdout;
    stderr = row.stderr;
    nodes_csv = row.nodes_csv;
    std::memcpy(&header, &row.header, sizeof header);
    if (throws) throw std::runtime_error("the disk has gone");
    return answer;
  }

  int answer = OPERATION_SUCCESSFULL;
  bool throws = false;
  int calls = 0;
  unsigned short code = 0;
  bool only_output = false;
  std::string stdout;
  std::string stderr;
  std::string nodes_csv;
  provider_result_header header = {};
};

std::string_view image_of(const provider_result_header& header) {
  return {reinterpret_cast<const char*>(&header), sizeof header};
}

storable_result a_record() {
  storable_result record;
  std::memset(&record.result.header, 0x5A, sizeof record.result.header);
  record.result.stdout.append(std::string_view("out\0put", 7));
  record.result.stderr.append("\xff oops");
  record.result.nodes_csv = "node01, node02";
  return record;
}

class write_provider_result : public ::testing::Test {
 protected:
  bool write() {
    return write_provider_result_datastore(record, Config(),
                                           {"results", extension});
  }

  log::captured_log log;
  std::shared_ptr<asked_extension> extension =
      std::make_shared<asked_extension>();
  std::shared_ptr<DataStoreController> controller =
      DataStoreController::start();
  storable_result record = a_record();
};

TEST_F(write_provider_result, hands_over_a_copy_of_everything) {
  EXPECT_TRUE(write());
  EXPECT_EQ(extension->calls, 1);
  EXPECT_EQ(extension->code, 0x203);
  EXPECT_TRUE(extension->only_output);
  EXPECT_EQ(extension->stdout, std::string("out\0put", 7));
  EXPECT_EQ(extension->stderr, "\xff oops");
  EXPECT_EQ(extension->nodes_csv, "node01, node02");
  EXPECT_EQ(image_of(extension->header), image_of(record.result.header));
  EXPECT_EQ(log.lines(), lines{});
}

TEST_F(write_provider_result, leaves_the_row_with_header_and_nodes_only) {
  record.row.stdout = "from the last record";
  EXPECT_TRUE(write());
  EXPECT_EQ(record.row.stdout, "");
  EXPECT_EQ(record.row.stderr, "");
  EXPECT_EQ(record.row.nodes_csv, "node01, node02");
  EXPECT_EQ(image_of(record.row.header), image_of(record.result.header));
  EXPECT_EQ(record.result.stdout.view(), std::string_view("out\0put", 7));
}

TEST_F(write_provider_result, is_silent_without_a_controller) {
  controller.reset();
  EXPECT_FALSE(write());
  EXPECT_EQ(extension->calls, 0);
  EXPECT_EQ(log.lines(), lines{});
}

TEST_F(write_provider_result, gives_one_notice_when_nothing_can_be_written) {
  extension->answer = DataStoreExtension::UNSUPPORTED_OPERATION;
  EXPECT_FALSE(write());
  EXPECT_EQ(log.lines(),
            lines{"Write operation is unsupported for data source results"});
  EXPECT_EQ(record.row.stdout, "");
}

TEST_F(write_provider_result, gives_one_notice_for_any_other_failure) {
  for (const int answer : {DataStoreExtension::OPERATION_DELAYED,
                           DataStoreExtension::OPERATION_REJECTED,
                           DataStoreExtension::OPERATION_FAILED, -1, 4711}) {
    log::captured_log own;
    extension->answer = answer;
    EXPECT_FALSE(write());
    EXPECT_EQ(own.lines(), lines{"Write failed for data source results"});
  }
}

TEST_F(write_provider_result, tells_it_at_level_notice) {
  extension->answer = -1;
  log::captured_log own(log::level_warning);
  EXPECT_FALSE(write());
  EXPECT_EQ(own.lines(), lines{});
}

TEST_F(write_provider_result, survives_an_extension_that_has_gone) {
  extension.reset();
  EXPECT_FALSE(write());
  EXPECT_EQ(log.lines(), lines{"Write failed for data source results"});
}

TEST_F(write_provider_result, lets_no_exception_out) {
  extension->throws = true;
  EXPECT_FALSE(write());
  EXPECT_EQ(log.lines(),
            (lines{"A datastore operation failed: the disk has gone",
                   "Write failed for data source results"}));
  EXPECT_EQ(record.row.stdout, "");
}

TEST_F(write_provider_result, takes_a_record_without_a_row_of_its_own) {
  provider_result plain = record.result;
  EXPECT_TRUE(
      write_provider_result_datastore(plain, Config(), {"results", extension}));
  EXPECT_EQ(extension->stderr, "\xff oops");
  EXPECT_EQ(plain.stderr.view(), "\xff oops");
  EXPECT_EQ(plain.nodes_csv, "node01, node02");
}

TEST_F(write_provider_result, gives_the_controller_back) {
  EXPECT_TRUE(write());
  EXPECT_EQ(controller.use_count(), 1);
  extension->throws = true;
  EXPECT_FALSE(write());
  EXPECT_EQ(controller.use_count(), 1);
}

}  // namespace
}  // namespace zelk
