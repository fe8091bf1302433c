#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/preproc/preproc.h"
#include "src/common/preproc/test_tree.h"

namespace zelk::preproc {
namespace {

// Values that try to leave their quotes, through the whole road: written into a
// configuration, read, put in front of a command and run by the real shell.
class shell : public test_tree {
 protected:
  static std::string escaped(const std::string& value) {
    std::string text;
    for (const char c : value) {
      if (c == '&')
        text += "&amp;";
      else if (c == '<')
        text += "&lt;";
      else if (c == '>')
        text += "&gt;";
      else if (c == '\r')  // written plainly, XML would make a newline of it
        text += "&#13;";
      else
        text += c;
    }
    return text;
  }

  // Returns what `command` prints.
  static std::string output_of(const std::string& command) {
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::string text;
    char chunk[4096];
    std::size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
      text.append(chunk, got);
    EXPECT_EQ(::pclose(pipe), 0);
    return text;
  }

  // Returns the values as a command sees them that is given them as variables.
  std::vector<std::string> through_shell(
      const std::vector<std::string>& values) {
    std::string option = "<option id='a'>";
    std::string names;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string name = "HP" + std::to_string(i);
      option +=
          "<variable name='" + name + "'>" + escaped(values[i]) + "</variable>";
      names += " \"$" + name + "\"";
    }
    EXPECT_EQ(read_config(
                  config_,
                  write("zelk.xml",
                        "<zelk><provider_options><provider name='p'>" + option +
                            "</option></provider></provider_options>"
                            "</zelk>")),
              0);
    const std::string printed =
        output_of(populate_option_vars_map(config_, "P").at(0).option_text +
                  "sh -c 'printf \"%s\\\\0\"" + names + "'");
    return split_at_zero(printed);
  }

  static std::vector<std::string> split_at_zero(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end; (end = text.find('\0', begin)) != text.npos;
         begin = end + 1)
      parts.push_back(text.substr(begin, end - begin));
    return parts;
  }
};

TEST_F(shell, gives_a_command_the_exact_value) {
  const std::string marker = config_.install_root + "/escaped";
  const std::vector<std::string> values = {
      "",
      " ",
      "'",
      "''",
      "\\",
      "\\'",
      "'\\''",
      "\"",
      "$(touch " + marker + ")",
      "`touch " + marker + "`",
      "'; touch " + marker + "; '",
      "\n'\ntouch " + marker + "\n'",
      "' sh -c 'touch " + marker + "' '",
      "$HOME ${IFS} $$ $((1+1)) ~ * ? [a-z] {a,b}",
      "a\tb\nc\rd",
      " both ends \n\n",
      "\n",
      "# no comment",
      "-n -e --help %s %d",
      "%PROVIDER_AUXILIARY_PATH%",
      "gr\xc3\xbc\xc3\x9f \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x90\x8c",
      "]]> <!-- --> &amp; <a b='c'/>",
      "a=b;c|d&e>f<g",
      "\x7f\xc2\x80\xef\xbb\xbf",
  };
  EXPECT_EQ(through_shell(values), values);
  EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(shell, gives_a_command_the_exact_value_of_anything) {
  const std::string marker = config_.install_root + "/escaped";
  const std::vector<std::string> pieces = {"'",
                                           "'",
                                           "\"",
                                           "\\",
                                           "\n",
                                           "\t",
                                           "\r",
                                           " ",
                                           "$",
                                           "(",
                                           ")",
                                           "`",
                                           ";",
                                           "&",
                                           "|",
                                           "<",
                                           ">",
                                           "a",
                                           "=",
                                           "#",
                                           "!",
                                           "*",
                                           "{",
                                           "}",
                                           "%",
                                           "~",
                                           "$(",
                                           "$'",
                                           "'\\''",
                                           "\\n",
                                           "EOF",
                                           "\xc3\xbc",
                                           "\xe2\x80\x98",
                                           "touch " + marker,
                                           "]]>",
                                           "&#39;"};
  std::mt19937 random(20240229);  // the same values in every run
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    std::vector<std::string> values(50);
    for (std::string& value : values)
      for (auto left = random() % 12; left > 0; --left)
        value += pieces[random() % pieces.size()];
    ASSERT_EQ(through_shell(values), values);
  }
  EXPECT_FALSE(std::filesystem::exists(marker));
}

}  // namespace
}  // namespace zelk::preproc
