#include "platform/linux/SqliteEntityValues.hpp"

#include "platform/linux/LibplistPropertyLists.hpp"
#include "util/FilePath.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

std::optional<std::int64_t> integerOf(const util::PropertyValue& value) {
    if (const auto* number = value.signedInteger()) return *number;
    if (const auto* number = value.unsignedInteger()) return util::narrow<std::int64_t>(*number);
    return std::nullopt;
}

}  // namespace

std::optional<std::size_t> entityProperty(std::string_view key) {
    for (std::size_t index = 0; index < kEntityPropertyCount; ++index)
        if (kEntityProperties[index].key == key) return index;
    return std::nullopt;
}

std::vector<std::size_t> entityPropertiesOf(std::string_view table) {
    std::vector<std::size_t> indexes;
    for (std::size_t index = 0; index < kEntityPropertyCount; ++index)
        if (kEntityProperties[index].table == table) indexes.push_back(index);
    return indexes;
}

bool columnKeeps(const util::PropertyValue& value) {
    return value.text() != nullptr || integerOf(value).has_value();
}

void bindValue(SqliteStatement& statement, int parameter, const util::PropertyValue& value) {
    if (const std::string* text = value.text())
        statement.bind(parameter, std::string_view(*text));
    else
        statement.bind(parameter, integerOf(value).value());
}

std::optional<std::vector<std::uint8_t>> encodedValue(const util::PropertyValue& value) {
    return LibplistPropertyLists::serialised(value);
}

std::optional<util::PropertyValue> valueOf(SqliteStatement& statement, int column) {
    switch (statement.type(column)) {
        case SQLITE_NULL:
            return std::nullopt;
        case SQLITE_INTEGER:
            return util::PropertyValue(statement.integer(column));
        case SQLITE_TEXT:
            return util::PropertyValue(statement.text(column));
        case SQLITE_BLOB:
            if (auto value = LibplistPropertyLists::parsed(statement.bytes(column))) return value;
            break;
        default:
            break;
    }
    throw LibraryError("the music library holds a value of an unknown form");
}

std::optional<std::string_view> storedAssetPath(const DevicePaths& paths, std::string_view fullPath) {
    const std::string_view root = paths.root();
    if (!fullPath.starts_with(root)) return std::nullopt;
    const std::string_view inRoot = fullPath.substr(root.size());
    if (!inRoot.starts_with('/') || inRoot.ends_with('/')) return std::nullopt;
    if (util::deletingLastPathComponent(inRoot) == DevicePaths::kMediaFolder) return util::lastPathComponent(inRoot);
    return inRoot;
}

std::string fullAssetPath(const DevicePaths& paths, std::string_view stored) {
    if (stored.starts_with('/')) return paths.at(stored);
    return util::pathIn(paths.at(DevicePaths::kMediaFolder), stored);
}

void bindAssetPath(SqliteStatement& statement, int parameter, std::string_view stored) {
    if (util::isUTF8(stored))
        statement.bind(parameter, stored);
    else
        statement.bind(parameter, util::bytesOf(stored));
}

}  // namespace quillet
