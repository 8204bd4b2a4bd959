#include "Vok/Trace.h"

#include "Vok/Errors.h"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Vok {

namespace {

using Levels = U64; // bit n: level n is on

struct Item {
   std::string pattern;
   Levels levels = 0;
};

struct State {
   std::mutex mutex; // guards all of it
   std::string text = "*/0";
   std::vector<Item> items{{"*", 1}};
   std::shared_ptr<TraceDestination> destination; // null: standard error
};

/// Never destroyed, so that whatever is torn down at exit can still trace.
State& state() {
   static State& instance = *new State;
   return instance;
}

std::string_view trimmed(std::string_view text) {
   const auto isBlank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
   while (!text.empty() && isBlank(text.front()))
      text.remove_prefix(1);
   while (!text.empty() && isBlank(text.back()))
      text.remove_suffix(1);
   return text;
}

[[noreturn]] void refuse(std::string_view what, std::string_view which, std::string_view hint) {
   throw ParseError("trace setting: " + std::string(what) + " '" + std::string(which) +
                    "': " + std::string(hint));
}

/// "*" stands for any run of characters, also none. On a mismatch the last "*" takes one character more.
bool matches(std::string_view pattern, std::string_view name) {
   std::size_t p = 0, n = 0;
   std::optional<std::pair<std::size_t, std::size_t>> star; // behind the "*", and where its run ends
   while (n < name.size()) {
      if (p < pattern.size() && pattern[p] == '*')
         star = {++p, n};
      else if (p < pattern.size() && pattern[p] == name[n])
         ++p, ++n;
      else if (star)
         p = star->first, n = ++star->second;
      else
         return false;
   }
   return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

Levels parsedLevels(std::string_view text) {
   const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
   if (text == "*")
      text = "0-9";
   const bool single = text.size() == 1 && isDigit(text[0]);
   const bool range = text.size() == 3 && isDigit(text[0]) && text[1] == '-' && isDigit(text[2]);
   if ((!single && !range) || text.front() > text.back())
      refuse("bad levels", text, "write one digit, two joined by '-', the lower first, or '*'");
   Levels levels = 0;
   for (char level = text.front(); level <= text.back(); ++level)
      levels |= Levels{1} << (level - '0');
   return levels;
}

std::vector<Item> parsedItems(std::string_view text) {
   std::vector<Item> items;
   if (text.empty())
      return items;
   for (std::size_t comma = 0; comma != std::string_view::npos;) {
      comma = text.find(',');
      const auto item = trimmed(text.substr(0, comma));
      const auto slash = item.find('/');
      if (slash == std::string_view::npos || slash == 0)
         refuse("bad item", item, "write FACILITY/LEVELS, as in 'Lfib*/0-8'");
      items.push_back({std::string(item.substr(0, slash)), parsedLevels(item.substr(slash + 1))});
      text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
   }
   return items;
}

std::shared_ptr<TraceDestination> parsedDestination(std::string_view text) {
   if (text == "stderr")
      return nullptr;
   if (text.find('/') != std::string_view::npos)
      return traceFile(std::string(text));
   if (text == "ring")
      text = "ring:1000";
   std::size_t lines = 0;
   if (text.starts_with("ring:")) {
      const auto [end, error] = std::from_chars(text.data() + 5, text.data() + text.size(), lines);
      if (error != std::errc() || end != text.data() + text.size())
         lines = 0;
   }
   if (lines == 0)
      refuse("bad destination", text, "write 'stderr', 'ring', 'ring:LINES' or the path of a file");
   return std::make_shared<TraceRing>(lines);
}

void write(int descriptor, std::string line) {
   line += '\n';
   for (std::string_view rest = line; !rest.empty();) {
      const auto written = ::write(descriptor, rest.data(), rest.size());
      if (written < 0 && errno != EINTR)
         return; // a trace that cannot be written stops nobody
      rest.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
   }
}

class TraceFile final : public TraceDestination {
  public:
   explicit TraceFile(const std::string& path)
       : descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640)) {
      if (descriptor_ < 0)
         throw std::system_error(errno, std::generic_category(),
                                 "trace file '" + path + "' cannot be opened");
   }
   ~TraceFile() override { close(descriptor_); }
   TraceFile(const TraceFile&) = delete;
   TraceFile& operator=(const TraceFile&) = delete;
   void recordIs(const TraceRecord& record) override { write(descriptor_, record.stringValue()); }

  private:
   const int descriptor_;
};

class TraceCallback final : public TraceDestination {
  public:
   explicit TraceCallback(std::function<void(const TraceRecord&)> callback)
       : callback_(std::move(callback)) {}
   void recordIs(const TraceRecord& record) override { callback_(record); }

  private:
   const std::function<void(const TraceRecord&)> callback_;
};

} // namespace

// ----------------------------------------------------------------------------------------------------
// destinations

std::shared_ptr<TraceDestination> traceFile(const std::string& path) {
   return std::make_shared<TraceFile>(path);
}

std::shared_ptr<TraceDestination> traceCallback(std::function<void(const TraceRecord&)> callback) {
   return std::make_shared<TraceCallback>(std::move(callback));
}

void TraceRing::recordIs(const TraceRecord& record) {
   const std::lock_guard lock(mutex_);
   if (records_.size() >= capacity_)
      records_.pop_front();
   records_.push_back(record);
}

void TraceRing::aboutToAbort() {
   for (const auto& record : records())
      write(STDERR_FILENO, record.stringValue());
}

std::vector<TraceRecord> TraceRing::records() const {
   const std::lock_guard lock(mutex_);
   return {records_.begin(), records_.end()};
}

// ---------------------------------------------------------------------------------------------------------
// setting

// The first generation is not the one that facilities start with, so that each looks at the setting once.
constinit std::atomic<U64> TraceFacility::generation_{generationStep};

void traceSettingIs(std::string_view setting) {
   const auto arrow = setting.find('>');
   const auto text = trimmed(setting.substr(0, arrow));
   auto items = parsedItems(text);
   std::shared_ptr<TraceDestination> destination;
   if (arrow != std::string_view::npos)
      destination = parsedDestination(trimmed(setting.substr(arrow + 1)));

   auto& s = state();
   std::string kept(text);
   const std::lock_guard lock(s.mutex);
   s.text.swap(kept);
   s.items.swap(items);
   if (arrow != std::string_view::npos)
      s.destination.swap(destination);
   TraceFacility::generation_.fetch_add(TraceFacility::generationStep, std::memory_order_relaxed);
}

std::string traceSetting() {
   const std::lock_guard lock(state().mutex);
   return state().text;
}

void traceDestinationIs(std::shared_ptr<TraceDestination> destination) {
   const std::lock_guard lock(state().mutex);
   state().destination.swap(destination); // the old one goes after the lock
}

std::shared_ptr<TraceDestination> traceDestination() {
   const std::lock_guard lock(state().mutex);
   return state().destination;
}

bool TraceFacility::isOnNow(TraceLevel level) {
   auto seen = seen_.load(std::memory_order_relaxed);
   if ((seen & generationBits) != generation_.load(std::memory_order_relaxed)) {
      const std::lock_guard lock(state().mutex);
      seen = generation_.load(std::memory_order_relaxed);
      for (const auto& item : state().items)
         if (matches(item.pattern, name_))
            seen |= item.levels;
      seen_.store(seen, std::memory_order_relaxed);
   }
   return (seen & level.bit()) != 0;
}

// -----------------------------------------------------------------------------------------------------------
// lines

std::string_view sourceUnit(std::source_location where) {
   const std::string_view file = where.file_name();
   return file.substr(file.rfind('/') + 1); // npos + 1 is 0: no folder
}

std::string TraceRecord::stringValue() const {
   const auto seconds = static_cast<std::time_t>(time / 1'000'000'000);
   std::tm date{};
   gmtime_r(&seconds, &date);
   std::array<char, 64> stamp{};
   const auto length = std::strftime(stamp.data(), stamp.size(), "%Y-%m-%dT%H:%M:%S", &date);
   std::snprintf(stamp.data() + length, stamp.size() - length, ".%06dZ ",
                 static_cast<int>(time % 1'000'000'000 / 1000));
   std::string result(stamp.data());
   result.append(facility).append(1, ' ').append(std::to_string(level)).append(1, ' ');
   return result.append(unit).append(1, ':').append(std::to_string(line)).append(1, ' ').append(text);
}

TraceLine::TraceLine(std::string_view facility, TraceLevel level, std::source_location where, bool signature)
    : record_(std::make_unique<TraceRecord>()) {
   record_->facility = facility;
   record_->level = level.number();
   record_->unit = sourceUnit(where);
   record_->line = where.line();
   if (signature)
      record_->text = where.function_name();
}

TraceLine::TraceLine(std::string_view facility, TraceLevel level, std::source_location where, bool signature,
                     std::string_view instance)
    : TraceLine(facility, level, where, signature) {
   record_->text.insert(0, std::string("[").append(instance).append("] "));
}

void TraceLine::finish() noexcept try {
   thread_local bool delivering = false;
   if (delivering)
      return;
   const auto now = std::chrono::system_clock::now().time_since_epoch();
   record_->time = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
   delivering = true;
   const struct Reset {
      ~Reset() { delivering = false; }
   } reset;
   if (const auto destination = traceDestination())
      destination->recordIs(*record_);
   else
      write(STDERR_FILENO, record_->stringValue());
} catch (...) {
   // A line that cannot be delivered stops nobody.
}

// ---------------------------------------------------------------------------------------------------------
// capture

TraceCapture::TraceCapture(std::string_view setting)
    : settingBefore_(traceSetting()), destinationBefore_(traceDestination()),
      ring_(std::make_shared<TraceRing>(std::size_t{1} << 20)) {
   traceSettingIs(setting);
   traceDestinationIs(ring_);
}

TraceCapture::~TraceCapture() {
   traceSettingIs(settingBefore_);
   traceDestinationIs(std::move(destinationBefore_));
}

std::vector<std::string> TraceCapture::lines() const {
   std::vector<std::string> texts;
   for (auto& record : records())
      texts.push_back(std::move(record.text));
   return texts;
}

} // namespace Vok
