#include "platform/linux/SqliteMusicLibrary.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <string_view>

#include "platform/linux/SqliteMusicLibraryBody.hpp"
#include "platform/linux/SqliteSchema.hpp"
#include "util/FilePath.hpp"
#include "util/Files.hpp"
#include "util/Log.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using std::chrono::steady_clock;

// A transaction of a group ends when it holds so much or is so old: what a killed process loses, and how long another
// one waits to write. A track and its origin are two writes.
constexpr int kWritesPerTransaction = 1600;
constexpr auto kTransactionTime = std::chrono::milliseconds(250);

constexpr std::uint32_t kNotImported = 1;

std::string reasonOf(const std::exception& error) {
    const auto* refused = dynamic_cast<const SqliteError*>(&error);
    return refused != nullptr ? refused->reason() : error.what();
}

/// A path in a log line: one line of UTF-8.
std::string shown(std::string_view path) {
    std::string text = util::decodeUTF8(util::bytesOf(path));
    for (char& character : text)
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) character = '?';
    return text;
}

}  // namespace

void SqliteMusicLibrary::Body::openTransaction() {
    if (transaction && !database->inTransaction()) loseTransaction("its transaction was ended");
    if (transaction) return;
    if (lockedOut) throw LibraryError("another program has it locked");
    identifiers.reserve(kWritesPerTransaction);
    transaction.emplace(*database);
    transactionBegan = steady_clock::now();
    writer.forget();
}

void SqliteMusicLibrary::Body::wrote() {
    ++writes;
    if (writes >= kWritesPerTransaction || steady_clock::now() - transactionBegan >= kTransactionTime)
        commitTransaction();
}

void SqliteMusicLibrary::Body::commitTransaction() {
    if (!database->inTransaction()) loseTransaction("its transaction was ended");
    if (!transaction) return;
    try {
        identifiers.recordUsed();
        transaction->commit();
    } catch (const SqliteError& error) {
        loseTransaction(error.reason());
        throw;
    }
    transaction.reset();
    writes = 0;
}

void SqliteMusicLibrary::Body::loseTransaction(const std::string& reason) {
    transaction.reset();
    writer.forget();
    if (writes > 0) {
        groupWhole = false;
        util::log(fmt::format("the last {} changes to the music library are lost: {}", writes, reason));
    }
    writes = 0;
}

void SqliteMusicLibrary::Body::afterFailure(const std::exception& error) {
    writer.forget();  // rows that it remembers may have been taken back
    if (transaction && !database->inTransaction()) loseTransaction(reasonOf(error));
    const auto* refused = dynamic_cast<const SqliteError*>(&error);
    if (refused != nullptr && (refused->code() & 0xFF) == SQLITE_BUSY) lockedOut = grouped;
}

std::uint64_t SqliteMusicLibrary::Body::importTrack(const TrackImport& track) {
    if (!enabled) throw LibraryError("importing is not enabled");
    if (grouped) return importInGroup(track);
    const TrackRows rows = SqliteTrackWriter::rowsOf(paths, track);
    writer.forget();
    SqliteTransaction one(*database);
    const std::uint64_t identifier = identifiers.giveOne();
    writer.insertExtra(identifier, rows);
    writer.insertItem(identifier, rows);
    one.commit();
    return identifier;
}

std::uint64_t SqliteMusicLibrary::Body::importInGroup(const TrackImport& track) {
    const TrackRows rows = SqliteTrackWriter::rowsOf(paths, track);
    openTransaction();
    const std::uint64_t identifier = identifiers.next();
    writer.insertExtra(identifier, rows);
    try {
        writer.insertItem(identifier, rows);
    } catch (const std::exception& error) {
        loseTransaction(reasonOf(error));  // the database fails; what is written of the track cannot stay
        throw;
    }
    identifiers.used();
    wrote();
    return identifier;
}

void SqliteMusicLibrary::Body::noteOrigin(const std::string& assetName, const TrackOrigin& origin) {
    if (grouped) openTransaction();
    writer.note(assetName, origin);
    if (grouped) wrote();
}

void SqliteMusicLibrary::Body::endGroup() {
    if (transaction) commitTransaction();
    if (!groupWhole || !identifiers.anyLeft()) return;
    SqliteTransaction one(*database);
    identifiers.giveBackRest();
    one.commit();
}

SqliteMusicLibrary::SqliteMusicLibrary(const DevicePaths& paths, Mode mode, std::chrono::milliseconds busyLimit) {
    if (mode == Mode::readWrite) {
        const std::string folder(util::deletingLastPathComponent(paths.at(kDatabase)));
        const util::Status made = util::createDirectories(folder);
        if (!made.ok()) throw LibraryError(fmt::format("cannot make the folder {}: {}", folder, made.message()));
    }
    body_ = std::make_unique<Body>(paths, mode, busyLimit);
}

SqliteMusicLibrary::~SqliteMusicLibrary() {
    endGroup();
}

bool SqliteMusicLibrary::exists(const DevicePaths& paths) {
    errno = 0;
    const auto facts = util::factsOf(paths.at(kDatabase));
    if (!facts && errno == EACCES)
        throw LibraryError(fmt::format("the music library {} cannot be read: {}", paths.at(kDatabase),
                                       util::Status::failure(EACCES).message()));
    return facts && facts->size > 0;  // empty while it is being made
}

void SqliteMusicLibrary::setImportationEnabled(bool enabled) {
    body_->enabled = enabled;
}

void SqliteMusicLibrary::importTrack(std::shared_ptr<TrackImport> track, Completion completion) {
    std::uint64_t identifier = 0;
    try {
        identifier = body_->importTrack(*track);
    } catch (const std::exception& error) {
        body_->afterFailure(error);
        util::log(
            fmt::format("{} is not added to the music library: {}", shown(track->assetFilePath), reasonOf(error)));
    }
    completion(identifier == 0 ? kNotImported : 0, identifier);
}

void SqliteMusicLibrary::beginGroup() {
    if (body_->grouped) return;
    body_->grouped = true;
    body_->groupWhole = true;
    body_->lockedOut = false;
}

bool SqliteMusicLibrary::isLockedOut() const {
    return body_->lockedOut;
}

bool SqliteMusicLibrary::endGroup() {
    if (!body_->grouped) return true;
    try {
        body_->endGroup();
    } catch (const std::exception& error) {
        body_->afterFailure(error);  // what was lost has its line already
    }
    body_->grouped = false;
    body_->identifiers.forgetRest();
    return body_->groupWhole;
}

void SqliteMusicLibrary::noteOrigin(const std::string& assetName, const TrackOrigin& origin) {
    try {
        body_->noteOrigin(assetName, origin);
    } catch (const std::exception& error) {
        body_->afterFailure(error);
        util::log(
            fmt::format("the music library cannot note where {} came from: {}", shown(assetName), reasonOf(error)));
    }
}

}  // namespace quillet
