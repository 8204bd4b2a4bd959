#include "tools/mplsctl/formats/JsonEntries.h"

#include <nlohmann/json.hpp>

#include <iterator>
#include <utility>

namespace mplsctl {

namespace {

using Json = nlohmann::json;

/// The line of the last character that is not a blank: that of the token which the parser has just read.
struct LineCount {
   std::uint32_t line = 1;
   std::uint32_t tokenLine = 1;
   void pass(char c) {
      if (c == '\n')
         ++line;
      else if (c != ' ' && c != '\t' && c != '\r')
         tokenLine = line;
   }
};

/// Feeds the parser and counts the lines it has seen.
class CountedText {
  public:
   using iterator_category = std::input_iterator_tag;
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = const char*;
   using reference = char;

   explicit CountedText(const char* at, LineCount* count = nullptr) : at_(at), count_(count) {}
   char operator*() const { return *at_; }
   CountedText& operator++() {
      count_->pass(*at_++);
      return *this;
   }
   bool operator==(const CountedText& other) const { return at_ == other.at_; }
   bool operator!=(const CountedText& other) const { return at_ != other.at_; }

  private:
   const char* at_;
   LineCount* count_;
};

/// Builds the entry under way; the path leads to its innermost open object or array.
class EntryBuilder : public Json::json_sax_t {
  public:
   EntryBuilder(const LineCount& count, const std::function<void(const JsonNode&)>& entry,
                std::string_view opened)
       : count_(count), entry_(entry), opened_(opened) {}

   const JsonError& error() const { return error_; }

   bool null() override { return scalar(JsonNode::Kind::null, "null"); }
   bool boolean(bool value) override { return scalar(JsonNode::Kind::boolean, value ? "true" : "false"); }
   bool number_integer(number_integer_t value) override {
      return scalar(JsonNode::Kind::number, std::to_string(value));
   }
   bool number_unsigned(number_unsigned_t value) override {
      return scalar(JsonNode::Kind::number, std::to_string(value));
   }
   bool number_float(number_float_t, const string_t& text) override {
      return scalar(JsonNode::Kind::number, text);
   }
   bool string(string_t& text) override { return scalar(JsonNode::Kind::string, std::move(text)); }
   bool binary(binary_t&) override { return false; }
   bool start_object(std::size_t) override { return open(JsonNode::Kind::object); }
   bool start_array(std::size_t) override { return open(JsonNode::Kind::array); }
   bool end_object() override { return close(); }
   bool end_array() override { return close(); }
   bool key(string_t& text) override {
      key_ = std::move(text);
      return true;
   }
   bool parse_error(std::size_t, const std::string&, const Json::exception& error) override {
      const std::string_view what = error.what();
      const std::size_t message = what.find("syntax error");
      error_.line = count_.tokenLine;
      error_.what = "not JSON: " + std::string(message == what.npos ? what : what.substr(message));
      return false;
   }

  private:
   JsonNode& add(JsonNode::Kind kind) {
      JsonNode& node = path_.empty() ? entryNode_ : path_.back()->children.emplace_back();
      node = JsonNode();
      node.kind = kind;
      node.line = count_.tokenLine;
      node.key = std::exchange(key_, {});
      return node;
   }
   bool scalar(JsonNode::Kind kind, std::string text) {
      add(kind).text = std::move(text);
      deliver();
      return true;
   }
   bool open(JsonNode::Kind kind) {
      if (!inside_)
         inside_ = true;
      else if (kind == JsonNode::Kind::array && path_.empty() && !opened_.empty() && key_ == opened_)
         key_.clear(); // its elements come one by one
      else
         path_.push_back(&add(kind));
      return true;
   }
   bool close() {
      if (path_.empty())
         return true;
      path_.pop_back();
      deliver();
      return true;
   }
   void deliver() {
      if (path_.empty() && inside_)
         entry_(entryNode_);
   }

   const LineCount& count_;
   const std::function<void(const JsonNode&)>& entry_;
   std::string_view opened_;
   JsonError error_;
   JsonNode entryNode_;
   std::vector<JsonNode*> path_; ///< a parent grows only while its children are complete
   std::string key_;
   bool inside_ = false; ///< the outermost bracket is behind us
};

} // namespace

JsonError eachJsonEntry(std::string_view text, const std::function<void(const JsonNode&)>& entry,
                        std::string_view opened) {
   LineCount count;
   EntryBuilder builder(count, entry, opened);
   Json::sax_parse(CountedText(text.data(), &count), CountedText(text.data() + text.size()), &builder);
   return builder.error();
}

} // namespace mplsctl
