#include "src/common/log/output_log.h"

#include <unistd.h>

#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>

namespace zelk::log {
namespace {

namespace fs = std::filesystem;

// A stream that counts its flushes.
class counted_output : public std::ostream {
 public:
  counted_output() : std::ostream(&buffer_) {}
  std::string text() const { return buffer_.str(); }
  int flushes() const { return buffer_.flushes; }

 private:
  struct counting_buffer : std::stringbuf {
    int sync() override { return ++flushes, 0; }
    int flushes = 0;
  };
  counting_buffer buffer_;
};

std::string content_of(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Every test starts without a singleton and leaves none behind.
class output_log : public testing::Test {
 protected:
  output_log() { OutputLog::singleton_obj.reset(); }
  ~output_log() override {
    OutputLog::singleton_obj.reset();
    fs::remove_all(folder_);
  }

  static OutputLogSingleton& shared() { return *OutputLog::singleton_obj; }

  fs::path scratch_file(const std::string& name) {
    fs::create_directories(folder_);
    return folder_ / name;
  }

 private:
  const fs::path folder_ = fs::temp_directory_path() /
                           ("output_log_test." + std::to_string(::getpid()));
};

TEST_F(output_log, makes_the_singleton_with_its_defaults) {
  EXPECT_EQ(OutputLog::singleton_obj, nullptr);
  OutputLog record;
  ASSERT_NE(OutputLog::singleton_obj, nullptr);
  EXPECT_EQ(shared().colors, (std::vector<std::string>{
                                 "\x1b[0;31m", "\x1b[0;33m", "\x1b[0;32m"}));
  EXPECT_EQ(shared().reset_color, "\x1b[0m");
  EXPECT_TRUE(shared().streams.empty());
  EXPECT_TRUE(shared().file_types.empty());
  EXPECT_EQ(shared().current_color, -1);
}

TEST_F(output_log, keeps_a_singleton_that_is_there) {
  OutputLog::singleton_obj = std::make_unique<OutputLogSingleton>();
  shared().reset_color = "<end>";
  const OutputLogSingleton* const before = OutputLog::singleton_obj.get();
  { OutputLog record; }
  EXPECT_EQ(OutputLog::singleton_obj.get(), before);
  EXPECT_EQ(shared().reset_color, "<end>");
}

TEST_F(output_log, says_nothing_without_destinations) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  OutputLog().stream() << "to nobody";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(output_log, keeps_the_colour_without_destinations) {
  OutputLog().select_color(color::green) << "to nobody";
  EXPECT_EQ(shared().current_color, 2);
}

TEST_F(output_log, delivers_to_every_destination_and_flushes_it) {
  counted_output first, second;
  add_stream(first, false);
  add_stream(second, true);
  const std::string bytes("12 nodes\n\0\xff", 11);
  OutputLog().stream() << bytes;
  EXPECT_EQ(first.text(), bytes);
  EXPECT_EQ(second.text(), bytes);
  EXPECT_EQ(first.flushes(), 1);
  EXPECT_EQ(second.flushes(), 1);
}

TEST_F(output_log, delivers_when_the_record_ends) {
  counted_output out;
  add_stream(out, false);
  {
    OutputLog record;
    record.stream() << "late";
    EXPECT_EQ(out.text(), "");
  }
  EXPECT_EQ(out.text(), "late");
}

TEST_F(output_log, ends_a_colour_at_the_first_destination_only) {
  counted_output first, second;
  add_stream(first, true);
  add_stream(second, true);
  shared().current_color = 0;
  OutputLog().stream() << "red";
  EXPECT_EQ(first.text(), "red\x1b[0m");
  EXPECT_EQ(second.text(), "red");
  EXPECT_EQ(shared().current_color, -1);
}

TEST_F(output_log, ends_no_colour_behind_a_first_destination_without_colours) {
  counted_output first, second;
  add_stream(first, false);
  add_stream(second, true);
  shared().current_color = 0;
  OutputLog().stream() << "red";
  EXPECT_EQ(first.text(), "red");
  EXPECT_EQ(second.text(), "red");
}

TEST_F(output_log, leaves_an_empty_record_out_but_drops_its_colour) {
  counted_output out;
  add_stream(out, true);
  shared().current_color = 1;
  { OutputLog record; }
  EXPECT_EQ(out.text(), "");
  EXPECT_EQ(out.flushes(), 0);
  EXPECT_EQ(shared().current_color, -1);
}

TEST_F(output_log, delivers_nothing_when_the_singleton_is_gone) {
  counted_output out;
  add_stream(out, false);
  {
    OutputLog record;
    record.stream() << "lost";
    OutputLog::singleton_obj.reset();
  }
  EXPECT_EQ(out.text(), "");
  EXPECT_EQ(OutputLog::singleton_obj, nullptr);
}

TEST_F(output_log, writes_the_code_of_each_colour) {
  struct {
    color which;
    const char* expected;
  } const table[] = {
      {color::red, "\x1b[0;31mx\x1b[0m"},
      {color::yellow, "\x1b[0;33mx\x1b[0m"},
      {color::green, "\x1b[0;32mx\x1b[0m"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(static_cast<int>(row.which));
    OutputLog::singleton_obj.reset();
    counted_output out;
    add_stream(out, true);
    OutputLog().select_color(row.which) << "x";
    EXPECT_EQ(out.text(), row.expected);
  }
}

TEST_F(output_log, puts_no_code_into_a_text_that_a_file_gets_too) {
  counted_output terminal, file;
  add_stream(terminal, true);
  add_stream(file, false);
  OutputLog().select_color(color::red) << "x";
  EXPECT_EQ(file.text(), "x");
  EXPECT_EQ(terminal.text(), "x\x1b[0m");
}

TEST_F(output_log, colours_the_rest_of_a_record) {
  counted_output out;
  add_stream(out, true);
  {
    OutputLog record;
    record.stream() << "node7: ";
    record.select_color(color::red) << "silent";
  }
  EXPECT_EQ(out.text(), "node7: \x1b[0;31msilent\x1b[0m");
}

TEST_F(output_log, ignores_a_colour_that_the_singleton_lacks) {
  counted_output out;
  add_stream(out, true);
  shared().colors.resize(1);
  OutputLog().select_color(color::green) << "x";
  EXPECT_EQ(out.text(), "x");
}

TEST_F(output_log, appends_to_a_file_that_it_opened) {
  const fs::path path = scratch_file("report");
  std::ofstream(path) << "old\n";
  ASSERT_FALSE(add_file(path));
  ASSERT_EQ(shared().file_types.size(), 1U);
  ASSERT_EQ(shared().streams.size(), 1U);
  EXPECT_EQ(shared().streams[0].stream, &shared().file_types[0]->file);
  EXPECT_FALSE(shared().streams[0].use_color);
  OutputLog().select_color(color::red) << "new\n";
  EXPECT_EQ(content_of(path), "old\nnew\n");
}

TEST_F(output_log, tells_why_a_file_cannot_be_opened) {
  EXPECT_EQ(add_file("/nowhere/report"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(add_file(scratch_file("").parent_path()),
            std::errc::is_a_directory);
  OutputLog record;
  EXPECT_TRUE(shared().streams.empty());
  EXPECT_TRUE(shared().file_types.empty());
}

TEST_F(output_log, closes_its_files_when_it_is_replaced) {
  ASSERT_FALSE(add_file(scratch_file("report")));
  const std::weak_ptr<StreamFileType> file = shared().file_types[0];
  OutputLog::singleton_obj = std::make_unique<OutputLogSingleton>();
  EXPECT_TRUE(file.expired());
  EXPECT_TRUE(shared().streams.empty());
}

TEST_F(output_log, leaves_a_file_open_that_somebody_else_owns_too) {
  ASSERT_FALSE(add_file(scratch_file("report")));
  const std::shared_ptr<StreamFileType> file = shared().file_types[0];
  OutputLog::singleton_obj.reset();
  EXPECT_TRUE(file->file.is_open());
}

// A full disk must not cost the destinations behind it.
TEST_F(output_log, goes_on_behind_a_destination_that_fails) {
  counted_output broken, out;
  add_stream(broken, false);
  add_stream(out, false);
  broken.setstate(std::ios::badbit);
  OutputLog().stream() << "x";
  EXPECT_EQ(out.text(), "x");
}

TEST_F(output_log, delivers_in_the_order_of_registration) {
  counted_output out;
  add_stream(out, false);
  add_stream(out, true);
  shared().current_color = 0;
  OutputLog().stream() << "x";
  OutputLog().stream() << "y";
  EXPECT_EQ(out.text(), "xxyy");
}

}  // namespace
}  // namespace zelk::log
