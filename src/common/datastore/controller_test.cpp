#include "src/common/datastore/controller.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::datastore {
namespace {

using lines = std::vector<std::string>;

class recording_extension : public DataStoreExtension {
 public:
  int control(unsigned short operation, const void* input, void* output,
              void* extra) override {
    operations.push_back(operation);
    pointers = {input, output, extra};
    if (operation == operation_flush) throw std::runtime_error("torn page");
    if (operation == operation_close) throw 1;
    return operation == operation_write ? OPERATION_SUCCESSFULL
                                        : UNSUPPORTED_OPERATION;
  }

  std::vector<unsigned short> operations;
  std::vector<const void*> pointers;
};

TEST(createDataStoreController, gives_an_empty_handle_before_the_start) {
  EXPECT_EQ(DataStoreController::createDataStoreController().lock(), nullptr);
}

TEST(createDataStoreController, gives_the_one_controller_of_the_process) {
  const auto owner = DataStoreController::start();
  EXPECT_EQ(DataStoreController::createDataStoreController().lock(), owner);
  EXPECT_EQ(DataStoreController::start(), owner);
}

TEST(createDataStoreController, gives_an_expired_handle_after_the_end) {
  std::weak_ptr<DataStoreController> handle;
  {
    const auto owner = DataStoreController::start();
    handle = DataStoreController::createDataStoreController();
  }
  EXPECT_TRUE(handle.expired());
  EXPECT_TRUE(DataStoreController::createDataStoreController().expired());
}

TEST(register_extension, refuses_a_name_that_is_taken) {
  DataStoreController controller;
  const auto first = std::make_shared<recording_extension>();
  EXPECT_TRUE(controller.register_extension("results", first));
  EXPECT_FALSE(controller.register_extension(
      "results", std::make_shared<recording_extension>()));
  EXPECT_EQ(controller.extension("results").lock(), first);
  EXPECT_EQ(controller.extension("facts").lock(), nullptr);
}

TEST(unregister_extension, lets_the_handles_expire) {
  DataStoreController controller;
  controller.register_extension("results",
                                std::make_shared<recording_extension>());
  const auto handle = controller.extension("results");
  EXPECT_TRUE(controller.unregister_extension("results"));
  EXPECT_FALSE(controller.unregister_extension("results"));
  EXPECT_TRUE(handle.expired());
}

// An extension that looks itself up while it ends would wait for ever.
TEST(unregister_extension, lets_an_ending_extension_use_the_registry) {
  struct asking_extension : recording_extension {
    explicit asking_extension(DataStoreController& c) : controller(c) {}
    ~asking_extension() override { controller.extension("results").lock(); }
    DataStoreController& controller;
  };
  DataStoreController controller;
  controller.register_extension("results",
                                std::make_shared<asking_extension>(controller));
  EXPECT_TRUE(controller.unregister_extension("results"));
}

TEST(control, passes_everything_through) {
  DataStoreController controller;
  const auto extension = std::make_shared<recording_extension>();
  int input = 0;
  int output = 0;
  int extra = 0;
  EXPECT_EQ(controller.control(extension, 515, &input, &output, &extra),
            DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(extension->operations, std::vector<unsigned short>{515});
  EXPECT_EQ(extension->pointers,
            (std::vector<const void*>{&input, &output, &extra}));
  EXPECT_EQ(controller.control(extension, 1, nullptr, nullptr, nullptr),
            DataStoreExtension::UNSUPPORTED_OPERATION);
}

TEST(control, knows_the_write_operation_as_515) {
  EXPECT_EQ(operation_write, 515);
}

TEST(control, tells_an_extension_that_is_gone) {
  DataStoreController controller;
  std::weak_ptr<DataStoreExtension> expired;
  expired = std::make_shared<recording_extension>();
  for (const auto& handle : {std::weak_ptr<DataStoreExtension>(), expired})
    EXPECT_EQ(controller.control(handle, 515, nullptr, nullptr, nullptr),
              DataStoreExtension::EXTENSION_MISSING);
}

TEST(control, turns_an_exception_into_one_error_record) {
  log::captured_log log;
  DataStoreController controller;
  const auto extension = std::make_shared<recording_extension>();
  EXPECT_EQ(
      controller.control(extension, operation_flush, nullptr, nullptr, nullptr),
      DataStoreExtension::OPERATION_FAILED);
  EXPECT_EQ(
      controller.control(extension, operation_close, nullptr, nullptr, nullptr),
      DataStoreExtension::OPERATION_FAILED);
  EXPECT_EQ(log.lines(),
            (lines{"A datastore operation failed: torn page",
                   "A datastore operation failed: no reason is known"}));
}

}  // namespace
}  // namespace zelk::datastore
