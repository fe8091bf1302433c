#include "src/check/page/page.h"

#include <functional>
#include <memory>
#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include "src/check/page/look.h"
#include "src/check/page/policy.h"
#include "src/check/page/test_cluster.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

using document = std::unique_ptr<xmlDoc, void (*)(xmlDoc*)>;

document parsed(const std::string& text) {
  return {
      xmlReadMemory(text.data(), static_cast<int>(text.size()), "page", nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                        XML_PARSE_HUGE),
      xmlFreeDoc};
}

void for_elements(xmlNode* from, const std::function<void(xmlNode*)>& visit) {
  for (xmlNode* node = from; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    visit(node);
    for_elements(node->children, visit);
  }
}

std::string attribute_of(xmlNode* node, const char* name) {
  xmlChar* value = xmlGetProp(node, BAD_CAST name);
  std::string out = value == nullptr ? "" : reinterpret_cast<char*>(value);
  xmlFree(value);
  return out;
}

page_options usual() {
  page_options options;
  options.cluster = "alpha";
  options.json = [](const judgement& what, std::ostream& out) {
    out << "{\"note\":\"</script>\",\"nodes\":" << what.nodes.size() << '}';
  };
  return options;
}

std::string page_of(const judgement& what,
                    const page_options& options = usual()) {
  std::ostringstream out;
  write_page(what, options, out);
  return std::move(out).str();
}

judgement nothing() {
  judgement out;
  out.overall = verdict::unknown;
  return out;
}

TEST(write_page, is_well_formed_whatever_is_on_it) {
  for (const judgement& what :
       {example_judgement(), hostile_judgement(), cluster_of(300), nothing()}) {
    const std::string page = page_of(what);
    EXPECT_NE(parsed(page), nullptr);
  }
}

TEST(write_page, gives_the_same_bytes_for_the_same_judgement) {
  EXPECT_EQ(page_of(example_judgement()), page_of(example_judgement()));
  EXPECT_EQ(page_of(cluster_of(300)), page_of(cluster_of(300)));
}

TEST(write_page, points_nowhere_else) {
  std::string page = page_of(cluster_of(300));
  for (const char* name :
       {"http://www.w3.org/1999/xhtml", "http://www.w3.org/2000/svg"})
    for (std::size_t at; (at = page.find(name)) != std::string::npos;)
      page.erase(at, std::string_view(name).size());
  EXPECT_EQ(page.find("http:"), std::string::npos);
  EXPECT_EQ(page.find("https:"), std::string::npos);
  EXPECT_EQ(page.find("url("), std::string::npos);
  EXPECT_EQ(page.find("@import"), std::string::npos);
}

// Of elements that would do something, and attributes that would run.
TEST(write_page, has_nothing_that_a_policy_would_have_to_stop) {
  for (const judgement& what : {example_judgement(), hostile_judgement()}) {
    const document page = parsed(page_of(what));
    ASSERT_NE(page, nullptr);
    for_elements(xmlDocGetRootElement(page.get()), [](xmlNode* node) {
      const std::string name = reinterpret_cast<const char*>(node->name);
      for (const char* bad : {"iframe", "object", "embed", "form", "base",
                              "foreignObject", "animate", "set"})
        EXPECT_NE(name, bad);
      for (xmlAttr* one = node->properties; one != nullptr; one = one->next) {
        const std::string_view attribute =
            reinterpret_cast<const char*>(one->name);
        EXPECT_FALSE(attribute.starts_with("on")) << attribute;
        EXPECT_NE(attribute, "style") << name;
        EXPECT_NE(attribute, "title") << name;
      }
      const std::string address = attribute_of(node, "href");
      if (name != "link" && !address.empty()) {
        EXPECT_EQ(address[0], '#');
      }
    });
  }
}

TEST(write_page, has_links_that_lead_somewhere_and_ids_that_are_single) {
  for (const judgement& what : {example_judgement(), cluster_of(300)}) {
    std::set<std::string> ids, links;
    const document page = parsed(page_of(what));
    ASSERT_NE(page, nullptr);
    for_elements(xmlDocGetRootElement(page.get()), [&](xmlNode* node) {
      const std::string id = attribute_of(node, "id");
      if (!id.empty()) {
        EXPECT_TRUE(ids.insert(id).second) << id;
      }
      const std::string to = attribute_of(node, "href");
      if (to.starts_with('#')) links.insert(to.substr(1));
    });
    for (const std::string& link : links)
      EXPECT_EQ(ids.count(link), 1U) << link;
  }
}

TEST(write_page, shows_hostile_text_as_text) {
  const std::string page = page_of(hostile_judgement());
  EXPECT_EQ(page.find("<svg onload"), std::string::npos);
  EXPECT_NE(page.find("&lt;svg onload=alert(1)&gt;"), std::string::npos);
  EXPECT_EQ(page.find('\x1b'), std::string::npos);
  EXPECT_EQ(page.find("\u202e"), std::string::npos);
  EXPECT_NE(page.find("\u241b[2J"), std::string::npos);
  EXPECT_LT(page.size(), 400'000U);  // though one value is 1 MiB
}

TEST(write_page, names_exactly_its_own_style_and_script) {
  const std::string page = page_of(example_judgement());
  for (const std::string& text : {html::page_style(), html::page_script()}) {
    EXPECT_NE(page.find(text), std::string::npos);
    EXPECT_NE(page.find('>' + text + '<'), std::string::npos);
  }
  const document read = parsed(page);
  std::string policy;
  for_elements(xmlDocGetRootElement(read.get()), [&](xmlNode* node) {
    if (attribute_of(node, "http-equiv") == "Content-Security-Policy")
      policy = attribute_of(node, "content");
  });
  EXPECT_NE(policy.find(html::content_hash(html::page_style())),
            std::string::npos);
  EXPECT_NE(policy.find(html::content_hash(html::page_script())),
            std::string::npos);
}

TEST(write_page, carries_the_judgement_as_data_that_cannot_end_the_script) {
  const std::string page = page_of(example_judgement());
  EXPECT_NE(page.find(R"({"note":"\u003c/script\u003e","nodes":136})"),
            std::string::npos);
}

TEST(write_page, leaves_the_script_out_when_asked) {
  page_options options = usual();
  options.script = false;
  const std::string page = page_of(example_judgement(), options);
  EXPECT_EQ(page.find("querySelector"), std::string::npos);
  EXPECT_NE(page.find("script-src &#39;none&#39;"), std::string::npos);
  EXPECT_EQ(page.find("id=\"tools\""), std::string::npos);
}

TEST(write_page, looks_for_its_files_beside_itself_when_asked) {
  page_options options = usual();
  options.assets = "report_files";
  const std::string page = page_of(example_judgement(), options);
  EXPECT_NE(page.find("href=\"report_files/zelkara.css\""), std::string::npos);
  EXPECT_NE(page.find("<script src=\"report_files/zelkara.js\"></script>"),
            std::string::npos);
  EXPECT_EQ(page.find("querySelector"), std::string::npos);
  EXPECT_EQ(page_assets().size(), 2U);
}

TEST(write_page, says_the_verdict_in_the_title) {
  EXPECT_NE(
      page_of(example_judgement())
          .find("<title>unhealthy 5 \u00b7 suspect 6 \u00b7 cluster alpha "
                "\u00b7 2025-11-21</title>"),
      std::string::npos);
}

TEST(write_page, says_that_coverage_is_not_whole) {
  const std::string page = page_of(example_judgement());
  EXPECT_NE(page.find("Only 1,215 of 1,233 results came in (98.5 %): 2 nodes "
                      "gave no answer."),
            std::string::npos);
  judgement whole = example_judgement();
  whole.run.results = whole.run.results_expected;
  whole.run.nodes = whole.run.nodes_expected;
  EXPECT_EQ(page_of(whole).find("class=\"say\">Only"), std::string::npos);
}

TEST(write_page, has_all_sections_even_with_nothing_to_show) {
  const std::string page = page_of(nothing());
  for (const char* id : {"first", "map", "nodes", "differences", "performance",
                         "since", "not-judged", "history", "by-node", "made"})
    EXPECT_NE(page.find("<section id=\"" + std::string(id) + '"'),
              std::string::npos)
        << id;
  EXPECT_NE(page.find("Everything expected was judged."), std::string::npos);
  EXPECT_NE(page.find("No node was judged."), std::string::npos);
}

TEST(write_page, is_small_for_a_small_cluster) {
  EXPECT_LT(page_of(example_judgement()).size(), 500U * 1024);
  EXPECT_LE(html::page_script().size(), 15U * 1024);
}

TEST(write_page, keeps_large_clusters_below_five_mebibytes) {
  std::ostringstream out;
  const page_result result = write_page(cluster_of(10000), usual(), out);
  EXPECT_TRUE(result.fits);
  EXPECT_EQ(result.bytes, out.str().size());
  EXPECT_LE(result.bytes, usual_page_size);
}

TEST(write_page, leaves_out_until_it_fits_and_says_what) {
  page_options options = usual();
  options.max_size = std::size_t{400} * 1024;
  std::ostringstream out;
  const page_result result = write_page(cluster_of(1000), options, out);
  EXPECT_TRUE(result.fits);
  ASSERT_FALSE(result.left_out.empty());
  EXPECT_LE(out.str().size(), options.max_size);
  EXPECT_NE(out.str().find("To keep this page below 400.0 KiB"),
            std::string::npos);
  EXPECT_NE(parsed(out.str()), nullptr);
}

TEST(write_page, says_when_nothing_more_can_be_left_out) {
  page_options options = usual();
  options.max_size = 1024;
  std::ostringstream out;
  EXPECT_FALSE(write_page(example_judgement(), options, out).fits);
  options.max_size = 0;
  const page_result all = write_page(example_judgement(), options, out);
  EXPECT_TRUE(all.fits);
  EXPECT_TRUE(all.left_out.empty());
}

TEST(write_page, shows_healthy_nodes_one_by_one_only_when_asked) {
  EXPECT_EQ(page_of(example_judgement()).find("id=\"n-node001\""),
            std::string::npos);
  page_options options = usual();
  options.healthy_sections = 200;
  EXPECT_NE(page_of(example_judgement(), options).find("id=\"n-node001\""),
            std::string::npos);
}

TEST(write_page, shows_the_end_of_error_output) {
  page_options options = usual();
  options.error_output = [](const std::string& node,
                            const std::string& column) {
    std::string out;
    if (node == "node013" && column == "stream")
      for (int i = 1; i <= 50; ++i)
        out += "line " + std::to_string(i) + ".\n";
    return out;
  };
  const std::string page = page_of(example_judgement(), options);
  EXPECT_EQ(page.find("line 10.\n"), std::string::npos);
  EXPECT_NE(page.find("<pre>line 11.\n"), std::string::npos);
  EXPECT_NE(page.find("line 50.\n"), std::string::npos);
}

TEST(page_figure, is_a_picture_that_stands_alone) {
  const judgement what = example_judgement();
  const std::vector<std::string> names = page_figure_names(what);
  EXPECT_EQ(names,
            (std::vector<std::string>{"heatmap", "nodes", "trend",
                                      "dist:stream.triad", "dist:mem.total"}));
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const std::optional<std::string> picture = page_figure(what, usual(), name);
    ASSERT_TRUE(picture);
    const document read = parsed(*picture);
    ASSERT_NE(read, nullptr);
    EXPECT_STREQ(
        reinterpret_cast<const char*>(xmlDocGetRootElement(read.get())->name),
        "svg");
  }
}

TEST(page_figure, is_nothing_for_what_is_not_there) {
  EXPECT_FALSE(page_figure(example_judgement(), usual(), "dist:nothing"));
  EXPECT_FALSE(page_figure(example_judgement(), usual(), "x"));
  EXPECT_FALSE(page_figure(nothing(), usual(), "heatmap"));
  EXPECT_TRUE(page_figure_names(nothing()).empty());
}

// What can be copied is pasted into a shell.
TEST(write_page, has_no_command_with_a_name_that_none_can_take) {
  judgement judged = example_judgement();
  judged.findings[1].nodes = {"a b; reboot", "node071"};
  for (node_view& each : judged.nodes)
    if (each.name == "node020") each.name = "a b; reboot";
  page_options options = usual();
  options.same_datastore = "--db /data/x.db";
  std::ostringstream out;
  write_page(judged, options, out);
  const std::string text = out.str();
  EXPECT_NE(text.find("a b; reboot"), text.npos);
  EXPECT_EQ(text.find("--show node a b"), text.npos);
  EXPECT_NE(text.find("--run 412 --db /data/x.db --show node node071"),
            text.npos);
  EXPECT_EQ(text.find("copy\">a b"), text.npos);
}

}  // namespace
}  // namespace zelk::check
