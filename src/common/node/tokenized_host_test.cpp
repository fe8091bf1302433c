#include "src/common/node/tokenized_host.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "src/common/node/ranges.h"

namespace zelk {
namespace {

using names = std::vector<std::string>;

std::string fold(const names& labels) {
  return TokenizedHost::get_merged_hosts(labels);
}

names expand(const std::string& text) {
  node::range_budget budget;
  node::expansion all = node::expand_list(text, budget);
  EXPECT_EQ(all.problem, "") << text;
  return all.names;
}

TEST(get_merged_hosts, folds_the_number_at_the_end) {
  struct {
    names labels;
    const char* folded;
  } const table[] = {
      {{}, ""},
      {{"login"}, "login"},
      {{"node1"}, "node1"},
      {{"node1", "node3", "node2"}, "node[1-3]"},
      {{"node10", "node2", "node1"}, "node[1-2,10]"},
      {{"n08", "n09", "n10", "n9"}, "n9,n[08-10]"},
      {{"n1", "n01", "n001"}, "n1,n01,n001"},
      {{"n9", "n10", "n11"}, "n[9-11]"},
      {{"n99", "n100", "n098"}, "n99,n[098,100]"},
      {{"n0", "n00", "n1", "n01"}, "n[0-1],n[00-01]"},
      {{"b", "a", "c"}, "a,b,c"},
      {{"n", "n1", "n2"}, "n,n[1-2]"},
      {{"node2", "login", "node1"}, "login,node[1-2]"},
      {{"7", "8", "12"}, "[7-8,12]"},
      {{"08n1", "8n1", "8n2"}, "8n[1-2],08n1"},
      {{"10.0.0.10", "10.0.0.9"}, "10.0.0.[9-10]"},
      {{"node-1", "node-2"}, "node-[1-2]"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.folded);
    EXPECT_EQ(fold(row.labels), row.folded);
  }
}

TEST(get_merged_hosts, writes_one_bracket_in_a_name) {
  EXPECT_EQ(fold({"gpu2n01", "gpu1n01", "gpu1n02", "gpu10n1", "gpu2n02"}),
            "gpu1n[01-02],gpu2n[01-02],gpu10n1");
  EXPECT_EQ(fold({"a-1-b-2", "a-1-b-1", "a-10-b-1", "a-2-b-1"}),
            "a-1-b-[1-2],a-2-b-1,a-10-b-1");
}

// Slurm calls node[1-2]-ib an invalid list.
TEST(get_merged_hosts, writes_names_that_end_in_text_one_by_one) {
  EXPECT_EQ(fold({"node10-ib", "node2-ib", "node1-ib"}),
            "node1-ib,node2-ib,node10-ib");
  EXPECT_EQ(fold({"node2.site", "node1.site"}), "node1.site,node2.site");
}

TEST(get_merged_hosts, names_each_host_once) {
  EXPECT_EQ(fold({"n1", "n2", "n1", "n1"}), "n[1-2]");
  EXPECT_EQ(fold({"a", "a", "a"}), "a");
  EXPECT_EQ(fold({"n01", "n01"}), "n01");
}

// pdsh cuts a longer number off without a word.
TEST(get_merged_hosts, folds_numbers_of_up_to_14_digits) {
  EXPECT_EQ(fold({"n00000000000001", "n00000000000002"}),
            "n[00000000000001-00000000000002]");
  EXPECT_EQ(fold({"n99999999999998", "n99999999999999", "n100000000000000"}),
            "n[99999999999998-99999999999999],n100000000000000");
  EXPECT_EQ(fold({"n000000000000001", "n000000000000002"}),
            "n000000000000001,n000000000000002");
  const std::string huge(300, '9');
  EXPECT_EQ(fold({"n" + huge, "n1" + huge, "n2"}),
            "n2,n" + huge + ",n1" + huge);
}

// pdsh refuses a range of more than 16,384 numbers.
TEST(get_merged_hosts, parts_ranges_that_are_too_long) {
  names labels;
  for (int i = 1; i <= 40000; ++i)
    labels.push_back("n" + std::to_string(i));
  EXPECT_EQ(fold(labels), "n[1-16384,16385-32768,32769-40000]");
}

TEST(get_merged_hosts, shows_labels_that_no_notation_can_hold) {
  EXPECT_EQ(fold({"a,b", "n[1-2]", "x y", std::string("z\0", 2), "", "\n"}),
            "%,a%b,n%1-2%,x%y,z%");
  EXPECT_EQ(fold({""}), "");
}

TEST(get_merged_hosts, keeps_bytes_beyond_ascii) {
  EXPECT_EQ(fold({"kn\xc3\xb6"
                  "2",
                  "kn\xc3\xb6"
                  "1",
                  "\xff"}),
            "kn\xc3\xb6[1-2],\xff");
}

// Written for the test alone and the slow way, so that the two can differ:
// a name as a list of keys, one for each byte or run of digits.
names natural_key(const std::string& name) {
  names key;
  for (std::size_t i = 0; i < name.size();) {
    std::size_t end = i;
    while (end < name.size() &&
           std::isdigit(static_cast<unsigned char>(name[end])) != 0)
      ++end;
    if (end == i) {
      key.emplace_back(1, name[i++]);
      continue;
    }
    // Value first, then zeros; '0' keeps digits in their place among bytes.
    std::string digits = name.substr(i, end - i);
    std::string value = digits;
    value.erase(0, std::min(value.find_first_not_of('0'), value.size()));
    key.push_back("0" + std::string(60 - value.size(), '0') + value +
                  std::string(1, static_cast<char>(digits.size())));
    i = end;
  }
  return key;
}

struct shape {
  const char* what;
  std::string (*label)(std::mt19937&);
};

std::string number(std::mt19937& random, unsigned limit) {
  return std::to_string(random() % limit);
}

std::string padded(std::mt19937& random, unsigned limit) {
  return std::string(random() % 4, '0') + number(random, limit);
}

std::string any_of(std::mt19937& random, const std::string& bytes) {
  std::string text;
  for (std::size_t length = 1 + random() % 6; length > 0; --length)
    text.push_back(bytes[random() % bytes.size()]);
  return text;
}

const shape shapes[] = {
    {"numbered", [](std::mt19937& r) { return "node" + number(r, 300); }},
    {"padded", [](std::mt19937& r) { return "n" + padded(r, 120); }},
    {"numbers only", [](std::mt19937& r) { return padded(r, 50); }},
    {"two numbers",
     [](std::mt19937& r) { return "r" + padded(r, 12) + "n" + padded(r, 12); }},
    {"dashes",
     [](std::mt19937& r) {
       return "a-" + number(r, 9) + "-b-" + number(r, 9);
     }},
    {"text behind",
     [](std::mt19937& r) { return "n" + padded(r, 99) + "-ib"; }},
    {"long numbers",
     [](std::mt19937& r) {
       return "n" + std::string(10 + r() % 8, '9') + padded(r, 20);
     }},
    {"few bytes", [](std::mt19937& r) { return any_of(r, "a019-"); }},
    {"many bytes",
     [](std::mt19937& r) { return any_of(r, "abzAZ0123456789-._~#\x80\xff"); }},
};

std::vector<std::string> random_labels(const shape& s, std::mt19937& random) {
  names labels;
  for (std::size_t count = random() % 200; count > 0; --count)
    labels.push_back(s.label(random));
  return labels;
}

TEST(get_merged_hosts, reads_back_to_the_same_names_whatever_they_look_like) {
  std::mt19937 random(20240607);
  for (const shape& s : shapes) {
    SCOPED_TRACE(s.what);
    for (int round = 0; round < 300; ++round) {
      const names labels = random_labels(s, random);
      const std::set<std::string> expected(labels.begin(), labels.end());
      const names got = expand(fold(labels));
      ASSERT_EQ(got.size(), expected.size()) << fold(labels);
      ASSERT_EQ(std::set<std::string>(got.begin(), got.end()), expected);
    }
  }
}

TEST(get_merged_hosts, does_not_depend_on_the_order_of_its_labels) {
  std::mt19937 random(7);
  for (const shape& s : shapes) {
    SCOPED_TRACE(s.what);
    for (int round = 0; round < 100; ++round) {
      names labels = random_labels(s, random);
      const std::string folded = fold(labels);
      std::shuffle(labels.begin(), labels.end(), random);
      ASSERT_EQ(fold(labels), folded);
      ASSERT_EQ(fold(expand(folded)), folded);
    }
  }
}

// The order of names that have no padding and no number that is too long: it is
// that of their parts, the name without its number before the numbered ones.
TEST(get_merged_hosts, writes_names_in_natural_order) {
  std::mt19937 random(11);
  for (const shape& s : {shapes[0], shapes[4], shapes[5]}) {
    SCOPED_TRACE(s.what);
    for (int round = 0; round < 100; ++round) {
      const names labels = random_labels(s, random);
      std::set<names> keys;
      for (const std::string& label : labels)
        keys.insert(natural_key(label));
      names got = expand(fold(labels));
      ASSERT_TRUE(std::is_sorted(got.begin(), got.end(),
                                 [](const auto& a, const auto& b) {
                                   return natural_key(a) < natural_key(b);
                                 }))
          << fold(labels);
      ASSERT_EQ(got.size(), keys.size());
    }
  }
}

// Comparing each name with each range found so far would take minutes for the
// shapes that do not fold.
TEST(get_merged_hosts, folds_a_hundred_thousand_names_of_any_shape) {
  using clock = std::chrono::steady_clock;
  std::mt19937 random(3);
  const shape wide[] = {
      {"one range", [](std::mt19937& r) { return "n" + number(r, 200000); }},
      {"no range",
       [](std::mt19937& r) { return "n" + std::to_string(r()) + "x"; }},
      {"prefixes", [](std::mt19937& r) { return std::to_string(r()) + "n1"; }},
      {"long",
       [](std::mt19937& r) {
         return std::string(150, '7') + "n" + number(r, 9);
       }},
  };
  for (const shape& s : wide) {
    SCOPED_TRACE(s.what);
    names labels;
    for (int i = 0; i < 100000; ++i)
      labels.push_back(s.label(random));
    const clock::time_point start = clock::now();
    EXPECT_EQ(expand(fold(labels)).size(),
              std::set<std::string>(labels.begin(), labels.end()).size());
    EXPECT_LT(clock::now() - start, std::chrono::seconds(30));
  }
}

}  // namespace
}  // namespace zelk
