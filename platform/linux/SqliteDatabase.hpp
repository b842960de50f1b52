#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/SqliteMusicLibrary.hpp"
#include "util/Bytes.hpp"

namespace quillet {

/// SQLite refused. what() names the file; reason() is what follows a name ("it is locked by another program").
class SqliteError : public LibraryError {
  public:
    SqliteError(const std::string& path, int code, std::string reason);
    /// SQLite's extended result code.
    int code() const noexcept { return code_; }
    const std::string& reason() const noexcept { return reason_; }

  private:
    int code_;
    std::string reason_;
};

class SqliteDatabase;

/// One SQL statement, prepared when it is first used and kept. Whatever goes wrong throws SqliteError, and the
/// statement is ready for its next use. Parameters count from 1, columns from 0. Must end before its database.
class SqliteStatement {
  public:
    /// Ends the use of a statement: whoever steps through rows without going to their end holds one.
    class Use {
      public:
        explicit Use(SqliteStatement& statement) : statement_(statement) {}
        ~Use() { statement_.reset(); }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

      private:
        SqliteStatement& statement_;
    };

    SqliteStatement(SqliteDatabase& database, std::string sql) : database_(database), sql_(std::move(sql)) {}

    SqliteStatement& bind(int parameter, std::int64_t value);
    /// Text and bytes are borrowed: they must live until the statement has run or was reset. Any bytes may be text.
    SqliteStatement& bind(int parameter, std::string_view text);
    SqliteStatement& bind(int parameter, util::Bytes bytes);
    SqliteStatement& bindNull(int parameter);

    /// True where there is a row to look at. After false the statement is ready for its next use.
    bool step();
    /// Goes through all rows without looking at them.
    void run();
    void reset() noexcept;

    /// One of SQLITE_NULL, SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT and SQLITE_BLOB.
    int type(int column);
    std::int64_t integer(int column);
    /// The bytes of a text or blob; they live until the next step.
    util::Bytes bytes(int column);
    std::string_view text(int column) { return util::charactersOf(bytes(column)); }

  private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
    };
    sqlite3_stmt* prepared();
    void check(int result);

    SqliteDatabase& database_;
    std::string sql_;
    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

/// One connection to an SQLite file. Used from one thread.
class SqliteDatabase {
  public:
    enum class Opening {
        peek,      ///< reads the file itself and nothing beside it, takes no lock, makes nothing
        existing,  ///< for reading and writing as far as the file allows
        create,    ///< the same; makes the file where there is none
    };

    /// Throws SqliteError. A file that another program has locked is waited for up to `busyLimit`; one log line says so
    /// after the first second.
    SqliteDatabase(const std::string& path, Opening opening, std::chrono::milliseconds busyLimit);
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;

    const std::string& path() const noexcept { return path_; }

    /// Runs the statements of `sql`, whatever rows they give.
    void execute(const char* sql);
    /// The first column of the first row.
    std::int64_t number(const char* sql);
    /// Writes go through the log beside the file from now on, so that readers and the one writer do not wait for each
    /// other.
    void useWriteAheadLog();

    bool inTransaction() const noexcept { return sqlite3_get_autocommit(handle()) == 0; }
    /// How many rows the last statement that writes has changed, and the key of the last new row.
    int changes() const noexcept { return sqlite3_changes(handle()); }
    std::int64_t lastRow() const noexcept { return sqlite3_last_insert_rowid(handle()); }

    sqlite3* handle() const noexcept { return handle_.get(); }
    /// Throws the error that SQLite has just answered.
    [[noreturn]] void fail(int code) const;

  private:
    friend class SqliteTransaction;
    struct Closer {
        void operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
    };
    static int busy(void* self, int calls);
    bool waitsAgain(int calls);

    std::string path_;
    std::chrono::milliseconds busyLimit_;
    std::chrono::steady_clock::time_point busySince_;
    bool busyTold_ = false;
    std::unique_ptr<sqlite3, Closer> handle_;
    SqliteStatement begin_, commit_, rollback_, savepoint_, release_, rollbackTo_;
};

/// Everything until commit(), or nothing. Within another transaction it is a savepoint of that one. Taken back when it
/// ends without a commit; where SQLite has ended the transaction by itself there is nothing left to take back.
class SqliteTransaction {
  public:
    explicit SqliteTransaction(SqliteDatabase& database);
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction&) = delete;
    SqliteTransaction& operator=(const SqliteTransaction&) = delete;

    /// Throws SqliteError; nothing is committed then.
    void commit();

  private:
    void takeBack() noexcept;

    SqliteDatabase& database_;
    bool nested_;
    bool open_ = true;
};

}  // namespace quillet
