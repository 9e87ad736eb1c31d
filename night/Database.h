#pragma once

#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

/** An SQLite database. What fails is a FileIoException with the file's name and SQLite's reason; its error is
 * ENOSPC where there is no room, EAGAIN where another one holds it for too long. */
class Database {
public:
    enum class Access { Read, Write };

    /** Opened to be written it is made if it is not there; who only reads holds up nobody. */
    Database(const std::string& path, Access access);

    /** Statements without values. */
    void Execute(const char* statements);
    [[noreturn]] void Fail() const;
    sqlite3* Get() const { return m_database.get(); }

private:
    std::string m_path;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_database;
};

/** A statement with its values, which stand in it as ?. */
class Statement {
public:
    Statement(Database& database, const char* text);
    template <class... Values>
    Statement(Database& database, const char* text, const Values&... values) : Statement(database, text) {
        int position = 0;
        (Bind(++position, values), ...);
    }

    /** From its beginning, with other values. */
    template <class... Values>
    void Restart(const Values&... values) {
        Reset();
        int position = 0;
        (Bind(++position, values), ...);
    }
    /** The next row; false behind the last one. */
    bool Step();
    /** Of the row; a column counts from 0, and is 0 or empty where it is null. */
    long long GetNumber(int column) const;
    double GetReal(int column) const;
    std::string GetText(int column) const;
    bool IsNull(int column) const;

private:
    void Reset();
    void Bind(int position, long long value);
    void Bind(int position, double value);
    void Bind(int position, const std::string& value);

    Database& m_database;
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> m_statement;
};

/** Executes a statement that has no rows to give. */
template <class... Values>
void Change(Database& database, const char* text, const Values&... values) {
    Statement statement(database, text, values...);
    while (statement.Step()) continue;
}

/** Changes that are there as a whole, once it is committed, and otherwise not at all. */
class Transaction {
public:
    explicit Transaction(Database& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void Commit();

private:
    Database& m_database;
    bool m_isOpen = true;
};
