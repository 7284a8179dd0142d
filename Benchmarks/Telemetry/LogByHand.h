#pragma once

#include <string>

namespace kitwell::benchmarks {

// What a program would do without the framework.

// Appends the bytes: open, shared lock, look, one write, close.
void appendByHand(const std::string& path, const std::string& bytes);

// Renames the log, copies it to the report, brings the copy to the disk, and removes the log.
void collectByHand(const std::string& log, const std::string& report);

// A database that keeps one row for each event, as programs are advised to set it up.
class EventDatabase {
public:
    explicit EventDatabase(const std::string& path);
    ~EventDatabase();
    EventDatabase(const EventDatabase&) = delete;
    EventDatabase& operator=(const EventDatabase&) = delete;
    static bool isAvailable();
    void insert(const std::string& event);

private:
    void* database_ = nullptr;
    void* statement_ = nullptr;
};

} // namespace kitwell::benchmarks
