#pragma once

#include "Vok/Types.h"

#include <array>
#include <atomic>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <source_location>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Trace: lines of text that a process writes about itself, by facility (usually a source unit) and level.
///
///    static constinit Vok::TraceFacility trace("MplsLfibWriter");
///
///    if (auto line = trace.entry(8))
///       line << " key " << key;
///    if (auto line = trace.at(1))
///       line << "removed " << count << " vias";
///
/// A level that is off costs one branch: nothing right of the `if` is evaluated. A line is handed over when
/// it goes out of scope. Level 0 is for what stops the process, 1 for results, 8 for calls with their
/// arguments.
///
/// Which levels of which facilities are on is one setting of the process, as is where their lines go. Both
/// can change at any time and by any thread. Until somebody says otherwise level 0 of every facility goes to
/// standard error.
namespace Vok {

/// The source file a place stands in, without its folder.
std::string_view sourceUnit(std::source_location where);

/// One finished line. `facility` and `unit` have static storage.
struct TraceRecord {
   S64 time = 0;              ///< nanoseconds since 1970, UTC
   std::string_view facility; ///< name of the facility
   unsigned level = 0;        ///< 0 to 9
   std::string_view unit;     ///< source file, without its folder
   unsigned line = 0;         ///< line in that file
   std::string text;

   /// "2026-11-21T03:53:33.123456Z MplsLfibWriter 8 MplsLfibWriter.cpp:57 text", no line end.
   std::string stringValue() const;
};

/// Takes finished lines. A destination is called by whichever thread traces, possibly by several at once;
/// what it traces itself meanwhile is dropped, and so is what it throws.
class TraceDestination {
  public:
   virtual ~TraceDestination() = default;
   virtual void recordIs(const TraceRecord& record) = 0;
   /// The process stops right after this call: time to write down what is only held in memory.
   virtual void aboutToAbort() {}
};

/// Appends each line to a file with one write, so that several processes can share it. The file is created
/// with mode 0640. Raises std::system_error, naming the file, when it cannot be opened.
std::shared_ptr<TraceDestination> traceFile(const std::string& path);

/// Hands each line to a function.
std::shared_ptr<TraceDestination> traceCallback(std::function<void(const TraceRecord&)> callback);

/// Keeps the last lines in memory and prints them to standard error when an assertion stops the process.
class TraceRing final : public TraceDestination {
  public:
   explicit TraceRing(std::size_t capacity) : capacity_(capacity) {}

   void recordIs(const TraceRecord& record) override;
   void aboutToAbort() override;
   /// The lines kept, oldest first.
   std::vector<TraceRecord> records() const;

  private:
   const std::size_t capacity_;
   mutable std::mutex mutex_; // guards records_
   std::deque<TraceRecord> records_;
};

/// Chooses the levels that are on and, if named, the destination, from one text:
///
///    setting     = [ item { "," item } ] [ ">" destination ]
///    item        = pattern "/" levels      pattern: a facility's name, with "*" for any run of characters
///    levels      = digit [ "-" digit ] | "*"
///    destination = "stderr" | "ring" [ ":" lines ] | path of a file (with at least one "/")
///
/// as in "LfibWriter/0-8,Lfib*/1 > /var/log/mpls.trace". A level is on when any item says so; no item,
/// nothing is on. Without a destination lines go where they went before; a ring keeps 1000 lines unless told.
/// Raises ParseError, or std::system_error for a file that cannot be opened, and then leaves all
/// as it was.
void traceSettingIs(std::string_view setting);

/// The items of the setting in force, as they were written, without the destination.
std::string traceSetting();

/// Where lines go from now on; null is standard error.
void traceDestinationIs(std::shared_ptr<TraceDestination> destination);
std::shared_ptr<TraceDestination> traceDestination();

/// Collects lines for a test: sets the levels, and restores levels and destination when it is destroyed.
class TraceCapture {
  public:
   explicit TraceCapture(std::string_view setting);
   ~TraceCapture();
   TraceCapture(const TraceCapture&) = delete;
   TraceCapture& operator=(const TraceCapture&) = delete;

   /// Texts of the lines so far, oldest first; `records()` tells all there is to know of each.
   std::vector<std::string> lines() const;
   std::vector<TraceRecord> records() const { return ring_->records(); }

  private:
   std::string settingBefore_;
   std::shared_ptr<TraceDestination> destinationBefore_;
   std::shared_ptr<TraceRing> ring_;
};

/// A trace level, 0 to 9: one that is out of range does not compile.
class TraceLevel {
  public:
   static constexpr unsigned count = 10;
   consteval TraceLevel(unsigned number)
       : number_(number < count ? number : throw "a trace level is 0 to 9") {}
   constexpr unsigned number() const { return number_; }
   constexpr U64 bit() const { return U64{1} << number_; }

  private:
   unsigned number_;
};

/// A number that a line shows in hexadecimal digits, lower case, without a prefix.
struct TraceHex {
   U64 number;
};

namespace TraceText {

// Hides Vok's own functions of these names, so that they are found by argument-dependent lookup alone and a
// header included earlier cannot change what a line says.
void stringValue();
void vokEnum();

template <class Value>
concept Own = requires(const Value& value) {
   std::string_view(value.stringValue());
};
template <class Value>
concept Beside = requires(const Value& value) {
   std::string_view(stringValue(value));
};
template <class Value>
concept Enumerator = requires(Value value, std::string& text) {
   vokEnum(value).print(&value, text);
};
template <class Value>
concept Described = requires(const Value& value, std::string& text) {
   Value::vokType().print(&value, text);
};

template <class Value>
void append(std::string& text, const Value& value);

} // namespace TraceText

/// A line being written, or nothing when its level is off. Made by a facility, lives in an `if`.
class TraceLine {
  public:
   ~TraceLine() {
      if (record_) [[unlikely]]
         finish();
   }
   TraceLine(const TraceLine&) = delete;
   TraceLine& operator=(const TraceLine&) = delete;

   explicit operator bool() const { return record_ != nullptr; }

   /// Appends a value: its `stringValue` (a member, or a function beside the type), else the text form of a
   /// generated type, a text, a number in decimal, "true" or "false", a pointer as an address. Only while the
   /// line is one.
   template <class Value>
   [[gnu::cold, gnu::noinline]] TraceLine& operator<<(const Value& value) {
      TraceText::append(record_->text, value);
      return *this;
   }

  private:
   friend class TraceFacility;
   TraceLine() = default;
   // All that only a line that is on needs stands out of line, so that it does not weigh on the function it
   // is in.
   [[gnu::cold]] TraceLine(std::string_view facility, TraceLevel level, std::source_location where,
                           bool signature);
   [[gnu::cold]] TraceLine(std::string_view facility, TraceLevel level, std::source_location where,
                           bool signature, std::string_view instance);
   [[gnu::cold]] void finish() noexcept;

   std::unique_ptr<TraceRecord> record_;
};

/// A named source of lines. Make one a source unit, with static storage; it registers itself nowhere and
/// looks at the setting when first used and after each change. Any thread may use it.
class TraceFacility {
  public:
   using Where = std::source_location;

   /// `name` must outlive the process's last line: a literal.
   constexpr explicit TraceFacility(std::string_view name) : name_(name) {}
   TraceFacility(const TraceFacility&) = delete;
   TraceFacility& operator=(const TraceFacility&) = delete;

   std::string_view name() const { return name_; }

   bool isOn(TraceLevel level) {
      // One branch for both questions: has the setting changed, and is the level on.
      const auto differs =
          seen_.load(std::memory_order_relaxed) ^ generation_.load(std::memory_order_relaxed);
      if ((differs & (generationBits | level.bit())) == 0) [[likely]]
         return false;
      return isOnNow(level);
   }

   /// A line of the given level.
   TraceLine at(TraceLevel level, Where where = Where::current()) {
      return isOn(level) ? TraceLine(name_, level, where, false) : TraceLine();
   }
   /// A line that starts with "[", the name of the instance that writes it, and "] ".
   TraceLine at(TraceLevel level, std::string_view instance, Where where = Where::current()) {
      return isOn(level) ? TraceLine(name_, level, where, false, instance) : TraceLine();
   }
   /// A line that starts with the signature of the function it stands in, after the instance's name if given.
   TraceLine entry(TraceLevel level, Where where = Where::current()) {
      return isOn(level) ? TraceLine(name_, level, where, true) : TraceLine();
   }
   TraceLine entry(TraceLevel level, std::string_view instance, Where where = Where::current()) {
      return isOn(level) ? TraceLine(name_, level, where, true, instance) : TraceLine();
   }

  private:
   friend void traceSettingIs(std::string_view setting);
   static constexpr U64 generationStep = U64{1} << TraceLevel::count;
   static constexpr U64 generationBits = ~(generationStep - 1);

   [[gnu::cold]] bool isOnNow(TraceLevel level);

   // The bits above the levels count the changes of the setting. Relaxed loads suffice: the setting itself is
   // read under its lock, and a line more or less after a change by another thread does no harm.
   static std::atomic<U64> generation_;

   const std::string_view name_;
   std::atomic<U64> seen_{0}; // the generation last looked at, and the levels that it switched on
};

template <class Value>
void TraceText::append(std::string& text, const Value& value) {
   const auto appendNumber = [&text](auto... number) {
      std::array<char, 32> digits;
      text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number...).ptr);
   };
   if constexpr (Own<Value>)
      text += std::string_view(value.stringValue());
   else if constexpr (Beside<Value>)
      text += std::string_view(stringValue(value));
   else if constexpr (Enumerator<Value>)
      vokEnum(value).print(&value, text);
   else if constexpr (Described<Value>)
      Value::vokType().print(&value, text);
   else if constexpr (std::convertible_to<const Value&, std::string_view>)
      text += std::string_view(value);
   else if constexpr (std::same_as<Value, bool>)
      text += value ? "true" : "false";
   else if constexpr (std::same_as<Value, char>)
      text += value;
   else if constexpr (std::is_arithmetic_v<Value>)
      appendNumber(value);
   else if constexpr (std::same_as<Value, TraceHex>)
      appendNumber(value.number, 16);
   else if constexpr (std::is_pointer_v<Value>) {
      text += "0x";
      appendNumber(reinterpret_cast<std::uintptr_t>(value), 16);
   } else
      static_assert(!sizeof(Value), "a traced type needs a stringValue, as a member or beside the type");
}

} // namespace Vok
