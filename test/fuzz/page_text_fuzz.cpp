// Whatever nodes, files and people write, the page stays the page: well-formed,
// with no element, attribute or script that a page of harmless words has not.
//
// The input is a list of texts, parted by bytes 0, which are put into every
// place of a judgement that holds text, one after the other and again from the
// first. The page is read as XML and, as a browser would, as HTML.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include "src/check/page/look.h"
#include "src/check/page/page.h"
#include "src/check/test_judgement.h"
#include "test/fuzz/memory_file.h"

namespace {

using namespace zelk::check;

class texts {
 public:
  explicit texts(std::vector<std::string> list) : list_(std::move(list)) {}
  static texts of(std::string_view bytes) {
    std::vector<std::string> list;
    while (!bytes.empty()) {
      const std::size_t end = std::min(bytes.find('\0'), bytes.size());
      list.emplace_back(bytes.substr(0, end));
      bytes.remove_prefix(std::min(bytes.size(), end + 1));
    }
    if (list.empty()) list.emplace_back();
    return texts(std::move(list));
  }

  const std::string& next() { return list_[at_++ % list_.size()]; }
  void into(std::initializer_list<std::string*> places) {
    for (std::string* place : places)
      *place = next();
  }
  void into(std::vector<std::string>& list) {
    for (std::string& place : list)
      place = next();
  }

 private:
  std::vector<std::string> list_;
  std::size_t at_ = 0;
};

void put(texts& from, node_value& of) {
  from.into({&of.node, &of.value, &of.before});
}

void put(texts& from, finding& of) {
  from.into({&of.check, &of.title, &of.class_name, &of.provider, &of.option,
             &of.fact, &of.unit, &of.reference, &of.message, &of.fingerprint});
  for (auto* list : {&of.nodes, &of.causes, &of.advice, &of.accepted_nodes})
    from.into(*list);
  for (node_value& one : of.values)
    put(from, one);
  if (of.accepted) from.into({&of.accepted->reason, &of.accepted->who});
}

void put(texts& from, run_info& of) {
  from.into({&of.uuid, &of.label, &of.state, &of.command_line});
}

void put_lists(texts& from, judgement& of) {
  for (coverage_group& one : of.coverage) {
    from.into({&one.provider, &one.option, &one.reason});
    from.into(one.nodes);
  }
  for (distribution& one : of.distributions) {
    from.into(
        {&one.fact, &one.provider, &one.option, &one.unit, &one.class_name});
    for (node_value& each : one.outliers)
      put(from, each);
  }
  for (difference& one : of.differences) {
    from.into(
        {&one.fact, &one.provider, &one.option, &one.unit, &one.class_name});
    for (auto& [value, nodes] : one.groups) {
      value = from.next();
      from.into(nodes);
    }
  }
  for (unread_fact& one : of.unread)
    from.into({&one.provider, &one.name, &one.reason});
}

// Of all nodes those that have something to tell, and few of the others: an
// input takes milliseconds then.
judgement small_example() {
  constexpr std::size_t most_nodes = 14;
  static constexpr std::size_t most_named = 4;
  judgement out = example_judgement();
  std::stable_partition(
      out.nodes.begin(), out.nodes.end(),
      [](const node_view& one) { return one.what != verdict::healthy; });
  out.nodes.resize(std::min(out.nodes.size(), most_nodes));
  const auto cut = [](auto& list) {
    if (list.size() > most_named)
      list.erase(list.begin() + most_named, list.end());
  };
  cut(out.distributions);
  cut(out.differences);
  cut(out.history);
  for (class_view& one : out.classes)
    cut(one.nodes);
  for (coverage_group& one : out.coverage)
    cut(one.nodes);
  for (difference& one : out.differences)
    for (auto& [value, nodes] : one.groups)
      cut(nodes);
  for (auto* list : {&out.findings, &out.accepted, &out.fixed})
    for (finding& one : *list) {
      cut(one.nodes);
      cut(one.values);
    }
  return out;
}

judgement judgement_of(texts& from) {
  static const judgement example = small_example();
  judgement out = example;
  put(from, out.run);
  if (out.baseline) put(from, *out.baseline);
  from.into(out.columns);
  for (node_view& one : out.nodes)
    from.into({&one.name, &one.class_name, &one.role, &one.subcluster});
  for (class_view& one : out.classes) {
    from.into({&one.name, &one.why_not});
    from.into(one.nodes);
    for (auto& [fact, value] : one.key) {
      fact = from.next();
      value = from.next();
    }
  }
  for (auto* list : {&out.findings, &out.accepted, &out.fixed})
    for (finding& one : *list)
      put(from, one);
  put_lists(from, out);
  from.into(out.joined);
  from.into(out.left);
  for (history_entry& one : out.history) {
    put(from, one.run);
    for (auto& [node, what] : one.nodes)
      node = from.next();
  }
  for (auto& [name, version] : out.providers)
    name = from.next();
  from.into({&out.with.peers_by});
  out.with.checks = {from.next()};
  out.with.skipped = {from.next()};
  out.with.limits = {from.next()};
  return out;
}

page_options options_of(texts& from) {
  page_options out;
  from.into({&out.title, &out.cluster, &out.host, &out.user,
             &out.program_version, &out.command_line, &out.configuration,
             &out.datastore, &out.same_datastore});
  out.logo = page_logo{from.next(), from.next()};
  out.file_hashes = {{from.next(), from.next()}};
  out.node_order = {from.next(), from.next()};
  out.error_output = [said = from.next()](const std::string&,
                                          const std::string&) {
    return std::string(said);
  };
  return out;
}

std::string page_of(texts from) {
  std::ostringstream out;
  write_page(judgement_of(from), options_of(from), out);
  return std::move(out).str();
}

using document = std::unique_ptr<xmlDoc, void (*)(xmlDoc*)>;

document as_xml(const std::string& page) {
  return {
      xmlReadMemory(page.data(), static_cast<int>(page.size()), "page", nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                        XML_PARSE_HUGE),
      xmlFreeDoc};
}

document as_html(const std::string& page) {
  return {htmlReadMemory(page.data(), static_cast<int>(page.size()), "page",
                         "UTF-8",
                         HTML_PARSE_NONET | HTML_PARSE_NOERROR |
                             HTML_PARSE_NOWARNING | HTML_PARSE_RECOVER),
          xmlFreeDoc};
}

// What a page is made of: "a@href" of each attribute, "a" of each element, and
// the texts of scripts and styles.
struct parts {
  std::set<std::string> names, programs;
};

std::string text_of(xmlChar* owned) {
  std::string out =
      owned == nullptr ? "" : reinterpret_cast<const char*>(owned);
  xmlFree(owned);
  return out;
}

void collect(xmlNode* from, parts& into) {
  for (xmlNode* node = from; node != nullptr; node = node->next) {
    if (node->type == XML_COMMENT_NODE || node->type == XML_PI_NODE)
      into.names.insert("a comment");
    if (node->type != XML_ELEMENT_NODE) continue;
    const std::string name = reinterpret_cast<const char*>(node->name);
    into.names.insert(name);
    for (xmlAttr* one = node->properties; one != nullptr; one = one->next) {
      const std::string attribute = reinterpret_cast<const char*>(one->name);
      into.names.insert(std::string(name).append("@").append(attribute));
      const std::string value = text_of(xmlGetProp(node, one->name));
      // A link leads to the page itself; only its own picture is data.
      if (attribute == "href")
        zelk::require(value.starts_with('#') ||
                      (name == "link" && value.starts_with("data:image/")));
      if (attribute == "src") zelk::require(value.starts_with("data:"));
    }
    if (name == "script" || name == "style")
      into.programs.insert(text_of(xmlNodeGetContent(node)));
    collect(node->children, into);
  }
}

parts parts_of(const document& page) {
  zelk::require(page != nullptr);
  parts out;
  collect(xmlDocGetRootElement(page.get()), out);
  return out;
}

void add(parts& to, const parts& more) {
  to.names.insert(more.names.begin(), more.names.end());
  to.programs.insert(more.programs.begin(), more.programs.end());
}

struct known_parts {
  parts xml, html;
};

// Of words in all the kinds that change what is written: numbers, lines,
// nothing, more than fits.
known_parts harmless() {
  std::vector<std::string> different;
  different.reserve(997);
  for (int i = 0; i < 997; ++i)
    different.push_back("word" + std::to_string(i));
  std::vector<std::string> mixed = {"",          "12",       "12.5", "node1",
                                    "two words", "a\nb",     "KiB",  "count",
                                    "x_1.y-z",   "A, B",     "true", "-7",
                                    "\xc3\xa4",  "image/png"};
  mixed.emplace_back(5000, 'x');
  mixed.push_back("long " + std::string(3000, ' ') + "text");
  known_parts out;
  for (const auto& list :
       {std::vector<std::string>{"x"}, std::vector<std::string>{""},
        std::vector<std::string>{"7"}, different, mixed}) {
    const std::string page = page_of(texts(list));
    add(out.xml, parts_of(as_xml(page)));
    add(out.html, parts_of(as_html(page)));
  }
  return out;
}

void require_no_more(const parts& has, const parts& may_have) {
  for (const std::string& name : has.names)
    zelk::require(may_have.names.count(name) != 0);
  for (const std::string& program : has.programs)
    zelk::require(may_have.programs.count(program) != 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const known_parts known = harmless();
  const std::string page = page_of(
      texts::of(std::string_view(reinterpret_cast<const char*>(data), size)));
  require_no_more(parts_of(as_xml(page)), known.xml);
  require_no_more(parts_of(as_html(page)), known.html);
  return 0;
}
