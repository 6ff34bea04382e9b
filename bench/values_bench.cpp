// Values, JSON and patterns.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <brisvane/host/formats/growing_search.h>
#include <brisvane/host/formats/json.h>
#include <brisvane/host/formats/pattern.h>
#include <brisvane/host/formats/property_list.h>
#include <brisvane/support/collections.h>
#include <brisvane/types/object.h>
#include <pcre2.h>
#include <rapidjson/document.h>
#include <rapidjson/writer.h>
#include <re2/re2.h>
#include <unicode/regex.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <variant>

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

using Variants = std::vector<std::variant<std::nullptr_t, bool, std::int64_t, double, std::string>>;

template <typename Container>
Container integers(int count) {
  Container made;
  made.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) made.emplace_back(std::int64_t{i});
  return made;
}

Table arrays() {
  constexpr int kCount = 1000;
  const auto variants = std::make_shared<Variants>(integers<Variants>(kCount));
  const auto ours = std::make_shared<Array>(integers<Array>(kCount));
  using nlohmann::json;
  const auto theirs = std::make_shared<json>(integers<json::array_t>(kCount));
  const auto isWhole = [](const auto& all) { return all.size() == kCount; };
  return {"Array of 1,000 integers",
          {{"made",
            14,
            {measured(
                 "vector of variants", [] { return integers<Variants>(kCount); }, isWhole),
             measured(
                 "Array", [] { return integers<Array>(kCount); }, isWhole),
             measured(
                 "nlohmann", [] { return json(integers<json::array_t>(kCount)); }, isWhole)}},
           {"copied",
            9,
            {measured(
                 "vector of variants", [variants] { return Variants(*variants); }, isWhole),
             measured(
                 "Array", [ours] { return Array(*ours); }, isWhole),
             measured(
                 "nlohmann", [theirs] { return json(*theirs); }, isWhole)}}}};
}

std::string jsonOf(std::size_t size) {
  std::string text = "[";
  for (int i = 0; text.size() < size; ++i) {
    if (i != 0) text += ',';
    text += R"({"name":"sensor )" + std::to_string(i) + R"(","value":)" +
            std::to_string(i * 37 % 1000) + R"(,"valid":true,"path":["fan","inlet"],"scale":0.5})";
  }
  return text + "]";
}

Row jsonReadRow(std::string size, std::size_t bytes, const Goal& goal) {
  const std::string text = jsonOf(bytes);
  return {std::move(size),
          goal,
          {giving(
               "rapidjson",
               [text] {
                 rapidjson::Document document;
                 return document.Parse(text.data(), text.size()).HasParseError();
               },
               false),
           giving(
               "parseJson", [text] { return host::parseJson(text).value().ifArray() != nullptr; },
               true),
           giving(
               "nlohmann", [text] { return nlohmann::json::parse(text).is_array(); }, true)}};
}

Row jsonWriteRow(std::string size, std::size_t bytes, const Goal& goal) {
  const std::string text = jsonOf(bytes);
  const auto document = std::make_shared<rapidjson::Document>();
  document->Parse(text.data(), text.size());
  const Object object = host::parseJson(text).value();
  const auto theirs = std::make_shared<nlohmann::json>(nlohmann::json::parse(text));
  const auto isWhole = [size = text.size()](const std::string& written) {
    return written.size() == size;
  };
  return {std::move(size),
          goal,
          {measured(
               "rapidjson",
               [document] {
                 rapidjson::StringBuffer buffer;
                 rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
                 document->Accept(writer);
                 return std::string(buffer.GetString(), buffer.GetSize());
               },
               isWhole),
           measured(
               "jsonText", [object] { return host::jsonText(object).value(); }, isWhole),
           measured(
               "nlohmann", [theirs] { return theirs->dump(); }, isWhole)}};
}

// A list of lists, each of them twice the one before: 2^depth places, of which few are distinct.
Object shared(int depth) {
  Object object(Array{Object(nullptr), Object("text")});
  for (int i = 0; i < depth; ++i) object = Object(Array{object, object});
  return object;
}

Object sharedDictionary(int depth) {
  Object object(Dictionary{{"none", Object(nullptr)}, {"text", "text"}});
  for (int i = 0; i < depth; ++i) object = Object(Dictionary{{"left", object}, {"right", object}});
  return object;
}

template <typename Operation>
Case alone(std::string name, Operation operation) {
  return measured(std::move(name), operation, [](const auto&) { return true; });
}

// The first case of a row of growth is the smallest size.
template <typename Make>
Row growth(std::string name, const std::vector<std::size_t>& sizes, Make make) {
  Row row{std::move(name), 0, {}};
  for (const std::size_t size : sizes) row.cases.push_back(alone(std::to_string(size), make(size)));
  return row;
}

Table growthTable() {
  return {"Growth: each ratio beside how many times the size is the first one's",
          {growth("==, shared depth", {10, 20, 40},
                  [](std::size_t depth) {
                    return [left = shared(static_cast<int>(depth)),
                            right = shared(static_cast<int>(depth))] { return left == right; };
                  }),
           growth("nulls stripped, depth", {10, 20, 40},
                  [](std::size_t depth) {
                    return [all = sharedDictionary(static_cast<int>(depth)).dictionary().value()] {
                      return BV::removeNullFromDictionary(all);
                    };
                  }),
           growth("property list, values", {1000, 10'000, 100'000},
                  [](std::size_t count) {
                    return [object = Object(integers<Array>(static_cast<int>(count)))] {
                      return host::binaryPropertyList(object).value();
                    };
                  }),
           growth("JSON read, bytes", {10'000, 100'000, 1'000'000},
                  [](std::size_t size) {
                    return [text = jsonOf(size)] { return host::parseJson(text).value(); };
                  }),
           growth("JSON written, bytes", {10'000, 100'000, 1'000'000}, [](std::size_t size) {
             return [object = host::parseJson(jsonOf(size)).value()] {
               return host::jsonText(object).value();
             };
           })}};
}

std::string reply() {
  std::string text;
  while (text.size() < 65536) text += "sensor 12: 23.5 degrees, fan at 1200 rpm\r\n";
  return text;
}

// Calls `search` with the reply as far as it has come, a chunk of 16 bytes more each time; counts
// what it finds.
template <typename Search>
std::size_t growing(const std::string& text, Search search) {
  std::size_t found = 0;
  for (std::size_t length = 16; length <= text.size(); length += 16) {
    if (search(std::string_view(text).substr(0, length))) ++found;
  }
  return found;
}

// PCRE2 with JIT, which is what a search of the whole reply costs at least with that engine.
class Jit {
 public:
  explicit Jit(const std::string& pattern) {
    int error = 0;
    std::size_t place = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                              PCRE2_CASELESS, &error, &place, nullptr),
                &pcre2_code_free);
    pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE);
    data_.reset(pcre2_match_data_create_from_pattern(code_.get(), nullptr), &pcre2_match_data_free);
  }
  [[nodiscard]] bool matches(std::string_view text) const {
    return pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0, 0,
                       data_.get(), nullptr) > 0;
  }

 private:
  std::shared_ptr<pcre2_code> code_;
  std::shared_ptr<pcre2_match_data> data_;
};

class Icu {
 public:
  explicit Icu(const std::string& pattern)
      : matcher_(std::make_shared<icu::RegexMatcher>(icu::UnicodeString::fromUTF8(pattern),
                                                     UREGEX_CASE_INSENSITIVE, status_)) {}
  [[nodiscard]] bool matches(std::string_view text) {
    UText view = UTEXT_INITIALIZER;
    utext_openUTF8(&view, text.data(), static_cast<std::int64_t>(text.size()), &status_);
    const bool isFound = matcher_->reset(&view).find(status_) != 0;
    utext_close(&view);
    return isFound;
  }

 private:
  UErrorCode status_ = U_ZERO_ERROR;
  std::shared_ptr<icu::RegexMatcher> matcher_;
};

Row patternRow(std::string size, const std::string& pattern) {
  const auto text = std::make_shared<std::string>(reply());
  const auto ours = std::make_shared<host::Pattern>(host::Pattern::compile(pattern).value());
  RE2::Options options;
  options.set_case_sensitive(false);
  const auto re2 = std::make_shared<RE2>(pattern, options);
  const Jit jit(pattern);
  const auto icu = std::make_shared<Icu>(pattern);
  return {
      std::move(size),
      1,
      {giving(
           "PCRE2 JIT, the whole reply",
           [=] { return growing(*text, [&](std::string_view so) { return jit.matches(so); }); },
           std::size_t{0}),
       giving(
           "GrowingSearch",
           [=] {
             host::GrowingSearch search(*ours);
             return growing(*text, [&](std::string_view so) {
               return search.firstMatch(so, [] { return 1.0; }).value().has_value();
             });
           },
           std::size_t{0}),
       giving(
           "RE2, the whole reply",
           [=] {
             return growing(*text,
                            [&](std::string_view so) { return RE2::PartialMatch(so, *re2); });
           },
           std::size_t{0}),
       giving(
           "ICU, the whole reply",
           [=] { return growing(*text, [&](std::string_view so) { return icu->matches(so); }); },
           std::size_t{0})}};
}

}  // namespace

std::vector<Table> valuesTables() {
  Row wordless = patternRow("no word", "\\w+[=:][0-9a-f]+[\\r\\n]+");
  wordless.cases.pop_back();  // ICU takes ten seconds
  return {
      arrays(),
      {"JSON",
       {jsonReadRow("1 MB read", 1'000'000,
                    {6, 7.5, "each text and container is an allocation, and is freed by itself"}),
        jsonWriteRow("1 MB written", 1'000'000, {2, 3, "the keys of each dictionary are sorted"})}},
      {"Pattern over 64 KiB in chunks of 16 B",
       {patternRow("words", "login successful"), patternRow("a class", "fan at \\d+ rpm, done"),
        patternRow("a choice", "(passed|failed): \\d+"), std::move(wordless)}},
      growthTable()};
}

}  // namespace brisvane::bench
