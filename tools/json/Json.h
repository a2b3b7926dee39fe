// Prints JSON: one document, streamed, and valid even after a failure. One thread at a time uses an
// object.
#pragma once

#include "tools/json/JsonFwd.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// The end of the name of a member that has the exact bytes of a text.
constexpr std::string_view kExactEnd = "_base64";

/// Adds `text` to an object. If it is not UTF-8, the member has U+FFFD for each invalid byte, and a
/// second member `key` + kExactEnd has the exact bytes.
void addText(Json& object, const std::string& key, std::string_view text);

/// `name` as the key of a member. A name that is not UTF-8 is escaped like in escaped(), so that
/// different names stay different.
std::string keyOf(std::string_view name);

/// `bytes` in Base64.
std::string base64(std::string_view bytes);

/// The bytes that base64() has written as `text`; none for another text.
std::optional<std::string> fromBase64(std::string_view text);

/// One document on standard output, on one line. Members appear in the order of the calls, "schema"
/// first, "ok" and "errors" last. Objects and lists may be nested.
class JsonDocument {
public:
    /// `schema` is a name such as "tyksim.info"; docs/json.md explains the version.
    JsonDocument(std::string_view schema, int version);
    /// Ends the document if end() was not called.
    ~JsonDocument();
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    /// Adds a member to the innermost open object, or to the document if none is open.
    void member(std::string_view key, const Json& value);
    /// Adds every member of `object`.
    void members(const Json& object);

    void beginList(std::string_view key);
    void item(const Json& value);  ///< in the innermost open list
    void beginObject();            ///< as an item of the innermost open list
    void endObject();
    void endList();

    /// Adds a message to "errors", which makes "ok" false.
    void error(std::string_view message);

    /// Closes open objects and lists, writes "ok" and "errors" and ends the line.
    void end();

private:
    struct Level {
        char closing;
        bool first = true;
    };
    void separate();
    void writeKey(std::string_view key);
    void close();

    std::vector<Level> levels_;
    std::vector<std::string> errors_;
};

}  // namespace tyksim
