// JSON as every reading verb prints it: one document, streamed, valid on failure too.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

using Json = nlohmann::ordered_json;

/// Adds `text` to an object. Where it is no UTF-8, the member holds U+FFFD for each byte that is
/// none, and a second member `key` + "_base64" holds the exact bytes.
void addText(Json& object, const std::string& key, std::string_view text);

/// `name` as the key of a member. One that is no UTF-8 is spelled as escaped() does, so that two
/// names stay two.
std::string keyOf(std::string_view name);

/// `bytes` in Base64.
std::string base64(std::string_view bytes);

/// One document on standard output, on one line. Members come out in the order of the calls;
/// "schema" stands first, "ok" and "errors" last. Objects and lists may be opened in each other and
/// are written as they grow.
class JsonDocument {
public:
    /// `schema` as "tyksim.info"; version as docs/json.md has it.
    JsonDocument(std::string_view schema, int version);
    /// Ends a document that was not ended.
    ~JsonDocument();
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    /// A member of the innermost open object; of the document where none is open.
    void member(std::string_view key, const Json& value);
    /// Every member of `object`, one by one.
    void members(const Json& object);

    void beginList(std::string_view key);
    void item(const Json& value);  ///< of the innermost open list
    void beginObject();            ///< as an item of the innermost open list
    void endObject();
    void endList();

    /// Something went wrong: goes into "errors" and makes the document not ok.
    void error(std::string_view message);

    /// Closes what is open, writes "ok" and "errors" and the end of the line.
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
