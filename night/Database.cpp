#include "Database.h"

#include <sqlite3.h>

#include <cerrno>

#include "Exceptions.h"
#include "Format.h"

namespace {

/** Somebody else's change, at most. */
constexpr int patienceMs = 60'000;

}  // namespace

Database::Database(const std::string& path, Access access)
    : m_path(path), m_database(nullptr, sqlite3_close) {
    sqlite3* database = nullptr;
    const int mode =
        access == Access::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int result = sqlite3_open_v2(path.c_str(), &database, mode | SQLITE_OPEN_NOFOLLOW, nullptr);
    m_database.reset(database);
    if (result != SQLITE_OK) Fail();
    sqlite3_busy_timeout(database, patienceMs);
    if (access == Access::Read) return;
    Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON;");
    int isKept = 1;  // who may only read could make neither of the files beside it
    sqlite3_file_control(database, nullptr, SQLITE_FCNTL_PERSIST_WAL, &isKept);
}

void Database::Execute(const char* statements) {
    if (sqlite3_exec(Get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
}

void Database::Fail() const {
    const int code = Get() == nullptr ? SQLITE_NOMEM : sqlite3_errcode(Get());
    const char* const reason = Get() == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(Get());
    const bool isOfSystem =
        code == SQLITE_IOERR || code == SQLITE_CANTOPEN;  // other calls leave it as it was
    throw new FileIoException("Ledger '" + Printable(m_path) + "': " + reason, m_path,
                              code == SQLITE_BUSY    ? EAGAIN
                              : code == SQLITE_FULL  ? ENOSPC
                              : code == SQLITE_NOMEM ? ENOMEM
                              : isOfSystem           ? sqlite3_system_errno(Get())
                                                     : 0);
}

Statement::Statement(Database& database, const char* text)
    : m_database(database), m_statement(nullptr, sqlite3_finalize) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database.Get(), text, -1, &statement, nullptr) != SQLITE_OK) database.Fail();
    m_statement.reset(statement);
}

void Statement::Reset() { sqlite3_reset(m_statement.get()); }

void Statement::Bind(int position, long long value) {
    if (sqlite3_bind_int64(m_statement.get(), position, value) != SQLITE_OK) m_database.Fail();
}

void Statement::Bind(int position, double value) {
    if (sqlite3_bind_double(m_statement.get(), position, value) != SQLITE_OK) m_database.Fail();
}

void Statement::Bind(int position, const std::string& value) {
    if (sqlite3_bind_text64(m_statement.get(), position, value.data(), value.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK)
        m_database.Fail();
}

bool Statement::Step() {
    const int result = sqlite3_step(m_statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) m_database.Fail();
    return result == SQLITE_ROW;
}

long long Statement::GetNumber(int column) const { return sqlite3_column_int64(m_statement.get(), column); }

double Statement::GetReal(int column) const { return sqlite3_column_double(m_statement.get(), column); }

std::string Statement::GetText(int column) const {
    const void* const text = sqlite3_column_blob(m_statement.get(), column);
    const int size = sqlite3_column_bytes(m_statement.get(), column);
    return text == nullptr ? "" : std::string(static_cast<const char*>(text), static_cast<size_t>(size));
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

Transaction::Transaction(Database& database) : m_database(database) { database.Execute("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
    if (m_isOpen) sqlite3_exec(m_database.Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
    m_database.Execute("COMMIT");
    m_isOpen = false;
}
