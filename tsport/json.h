// JSON as tsport prints it, by RapidJSON: on one line except where break_line() is called, with a blank after each
// comma and colon. Control characters of terminals are escaped.
#pragma once

#include <rapidjson/writer.h>

#include <concepts>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/text.h"

namespace tsport {

// Takes text in pieces.
using Sink = std::function<void(std::string_view)>;

class JsonWriter {
  public:
    explicit JsonWriter(Sink sink) : stream_{std::move(sink)}, writer_(stream_) {}
    ~JsonWriter() { stream_.Flush(); }
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void key(std::string_view name) { writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }
    void value(std::string_view utf8);  // invalid bytes become U+FFFD
    void value(const host::Text& text) { value(std::string_view(host::to_utf8(text))); }
    template <std::same_as<bool> Bool>
    void value(Bool yes) {
        writer_.Bool(yes);
    }
    template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>) void value(Number number) { writer_.Uint64(number); }
    // std::nullopt becomes null.
    template <typename Value>
    void value(const std::optional<Value>& content) {
        content ? value(*content) : void(writer_.Null());
    }
    template <typename Value>
    void member(std::string_view name, const Value& content) {
        key(name);
        value(content);
    }

    // `contents` writes the members of the object or the elements of the array.
    template <std::invocable Contents>
    void object(Contents contents) {
        writer_.StartObject();
        contents();
        writer_.EndObject();
    }
    template <std::invocable Contents>
    void object(std::string_view name, Contents contents) {
        key(name);
        object(contents);
    }
    template <std::invocable Contents>
    void array(std::string_view name, Contents contents) {
        key(name);
        array(contents);
    }
    template <std::invocable Contents>
    void array(Contents contents) {
        writer_.StartArray();
        contents();
        writer_.EndArray();
    }
    // An array of what `write` makes of each element ...
    template <typename List, typename Write>
    void array(std::string_view name, const List& list, Write write) {
        array(name, [&] {
            for (const auto& element : list) write(element);
        });
    }
    // ... or of objects of which it writes the members.
    template <typename List, typename Write>
    void objects(std::string_view name, const List& list, Write write) {
        array(name, list, [&](const auto& element) { object([&] { write(element); }); });
    }

    // The next member or element begins a line.
    void break_line();

  private:
    // The output stream that RapidJSON's writer expects. It puts in the blanks.
    struct Stream {
        using Ch = char;
        void Put(char c);
        void Flush();

        Sink sink;
        std::string buffer = {};
        bool in_string = false;
        bool escaped = false;
        char separator = ' ';  // after the next comma
        char last = 0;
    };

    Stream stream_;
    rapidjson::Writer<Stream> writer_;
};

// Writes the members of an object that is already open.
using JsonMembers = std::function<void(JsonWriter&)>;

// An object of its own, with a line feed.
std::string json_line(const JsonMembers& members);

}  // namespace tsport
