#include "platform/linux/SqliteDatabase.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <thread>

#include "util/Log.hpp"

namespace quillet {

namespace {

constexpr int kBusySteps[] = {1, 2, 5, 10, 20, 50, 100};  // milliseconds; the last one again and again

/// `path` as a URI that asks for the file alone, as if it could not change.
std::string immutableURI(const std::string& path) {
    std::string uri = "file:";
    for (const char character : path) {
        if (character == '%' || character == '?' || character == '#')
            uri += fmt::format("%{:02x}", static_cast<unsigned char>(character));
        else
            uri += character;
    }
    return uri + "?immutable=1";
}

}  // namespace

SqliteError::SqliteError(const std::string& path, int code, std::string reason)
    : LibraryError(fmt::format("the music library {} cannot be used: {}", path, reason)),
      code_(code),
      reason_(std::move(reason)) {}

sqlite3_stmt* SqliteStatement::prepared() {
    if (!statement_) {
        sqlite3_stmt* made = nullptr;
        const int result = sqlite3_prepare_v3(database_.handle(), sql_.c_str(), static_cast<int>(sql_.size()) + 1,
                                              SQLITE_PREPARE_PERSISTENT, &made, nullptr);
        if (result != SQLITE_OK) database_.fail(result);
        statement_.reset(made);
    }
    return statement_.get();
}

void SqliteStatement::check(int result) {
    if (result != SQLITE_OK) database_.fail(result);
}

SqliteStatement& SqliteStatement::bind(int parameter, std::int64_t value) {
    check(sqlite3_bind_int64(prepared(), parameter, value));
    return *this;
}

SqliteStatement& SqliteStatement::bind(int parameter, std::string_view text) {
    const char* characters = text.data() == nullptr ? "" : text.data();  // a null pointer would be NULL, not ""
    check(sqlite3_bind_text64(prepared(), parameter, characters, text.size(), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

SqliteStatement& SqliteStatement::bind(int parameter, util::Bytes bytes) {
    const void* data = bytes.data() == nullptr ? static_cast<const void*>("") : bytes.data();
    check(sqlite3_bind_blob64(prepared(), parameter, data, bytes.size(), SQLITE_STATIC));
    return *this;
}

SqliteStatement& SqliteStatement::bindNull(int parameter) {
    check(sqlite3_bind_null(prepared(), parameter));
    return *this;
}

bool SqliteStatement::step() {
    const int result = sqlite3_step(prepared());
    if (result == SQLITE_ROW) return true;
    sqlite3_reset(statement_.get());  // the error's text stays
    if (result != SQLITE_DONE) database_.fail(result);
    return false;
}

void SqliteStatement::run() {
    while (step()) {
    }
}

void SqliteStatement::reset() noexcept {
    if (statement_) sqlite3_reset(statement_.get());
}

int SqliteStatement::type(int column) {
    return sqlite3_column_type(prepared(), column);
}

std::int64_t SqliteStatement::integer(int column) {
    return sqlite3_column_int64(prepared(), column);
}

util::Bytes SqliteStatement::bytes(int column) {
    const void* data = sqlite3_column_blob(prepared(), column);
    const int size = sqlite3_column_bytes(prepared(), column);
    return {static_cast<const std::uint8_t*>(data), data == nullptr ? 0 : static_cast<std::size_t>(size)};
}

SqliteDatabase::SqliteDatabase(const std::string& path, Opening opening, std::chrono::milliseconds busyLimit)
    : path_(path),
      busyLimit_(busyLimit),
      begin_(*this, "BEGIN IMMEDIATE"),
      commit_(*this, "COMMIT"),
      rollback_(*this, "ROLLBACK"),
      savepoint_(*this, "SAVEPOINT one"),
      release_(*this, "RELEASE one"),
      rollbackTo_(*this, "ROLLBACK TO one") {
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    if (opening == Opening::peek) flags |= SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    if (opening == Opening::existing) flags |= SQLITE_OPEN_READWRITE;
    if (opening == Opening::create) flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const std::string name = opening == Opening::peek ? immutableURI(path) : path;
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
    handle_.reset(opened);
    if (result != SQLITE_OK) fail(result);
    sqlite3_busy_handler(opened, &SqliteDatabase::busy, this);
}

int SqliteDatabase::busy(void* self, int calls) {
    return static_cast<SqliteDatabase*>(self)->waitsAgain(calls) ? 1 : 0;
}

bool SqliteDatabase::waitsAgain(int calls) {
    using std::chrono::milliseconds;
    const auto now = std::chrono::steady_clock::now();
    if (calls == 0) {
        busySince_ = now;
        busyTold_ = false;
    }
    const auto waited = std::chrono::duration_cast<milliseconds>(now - busySince_);
    if (waited >= busyLimit_) return false;
    if (!busyTold_ && waited >= std::chrono::seconds(1)) {
        busyTold_ = true;
        util::log("the music library is locked by another program; waiting");
    }
    const auto step = std::min<std::size_t>(static_cast<std::size_t>(calls), std::size(kBusySteps) - 1);
    std::this_thread::sleep_for(std::min(milliseconds(kBusySteps[step]), busyLimit_ - waited));
    return true;
}

void SqliteDatabase::execute(const char* sql) {
    const int result = sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) fail(result);
}

std::int64_t SqliteDatabase::number(const char* sql) {
    SqliteStatement statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

void SqliteDatabase::useWriteAheadLog() {
    // The switch takes the file for itself. SQLite does not call the busy handler there, having read from the file
    // already.
    for (int calls = 0;; ++calls) {
        const int result = sqlite3_exec(handle(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
        if (result == SQLITE_OK) return;
        if ((result & 0xFF) != SQLITE_BUSY || !waitsAgain(calls)) fail(result);
    }
}

void SqliteDatabase::fail(int code) const {
    if ((code & 0xFF) == SQLITE_BUSY) throw SqliteError(path_, code, "it is locked by another program");
    const bool said = handle_ && (sqlite3_extended_errcode(handle()) & 0xFF) == (code & 0xFF);
    throw SqliteError(path_, code, said ? sqlite3_errmsg(handle()) : sqlite3_errstr(code));
}

SqliteTransaction::SqliteTransaction(SqliteDatabase& database)
    : database_(database), nested_(database.inTransaction()) {
    (nested_ ? database_.savepoint_ : database_.begin_).run();
}

SqliteTransaction::~SqliteTransaction() {
    if (open_) takeBack();
}

void SqliteTransaction::commit() {
    (nested_ ? database_.release_ : database_.commit_).run();  // where this throws, the destructor takes back
    open_ = false;
}

void SqliteTransaction::takeBack() noexcept {
    if (!database_.inTransaction()) return;
    try {
        if (nested_) {
            database_.rollbackTo_.run();
            database_.release_.run();
            return;
        }
    } catch (const SqliteError&) {
        // What cannot be taken back in part goes as a whole.
    }
    try {
        if (database_.inTransaction()) database_.rollback_.run();
    } catch (const SqliteError& error) {
        util::log(error.what());
    }
}

}  // namespace quillet
