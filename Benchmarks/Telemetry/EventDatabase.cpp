#include "Support/Partner.h"
#include "Telemetry/LogByHand.h"

#ifdef KITWELL_HAS_SQLITE

#include <sqlite3.h>

namespace kitwell::benchmarks {

EventDatabase::EventDatabase(const std::string& path) {
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    constexpr char kSetUp[] = "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                              "CREATE TABLE event (text TEXT NOT NULL);";
    if (sqlite3_open(path.c_str(), &database) != SQLITE_OK ||
        sqlite3_exec(database, kSetUp, nullptr, nullptr, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(database, "INSERT INTO event VALUES (?)", -1, &statement, nullptr) != SQLITE_OK)
        fail("no database at " + path);
    database_ = database;
    statement_ = statement;
}

EventDatabase::~EventDatabase() {
    sqlite3_finalize(static_cast<sqlite3_stmt*>(statement_));
    sqlite3_close(static_cast<sqlite3*>(database_));
}

bool EventDatabase::isAvailable() {
    return true;
}

void EventDatabase::insert(const std::string& event) {
    auto* statement = static_cast<sqlite3_stmt*>(statement_);
    sqlite3_bind_text(statement, 1, event.data(), static_cast<int>(event.size()), SQLITE_STATIC);
    if (sqlite3_step(statement) != SQLITE_DONE || sqlite3_reset(statement) != SQLITE_OK)
        fail("cannot insert");
}

} // namespace kitwell::benchmarks

#else

namespace kitwell::benchmarks {

EventDatabase::EventDatabase(const std::string&) {}
EventDatabase::~EventDatabase() = default;
bool EventDatabase::isAvailable() {
    return false;
}
void EventDatabase::insert(const std::string&) {
    fail("there is no database");
}

} // namespace kitwell::benchmarks

#endif
