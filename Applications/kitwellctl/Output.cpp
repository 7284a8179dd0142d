#include "Output.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>
#include <vector>

#include "JsonText.h"
#include "Shared/Words.h"

namespace kitwell::applications {

using platform::Array;
using platform::Value;

namespace {

using Row = std::vector<std::string>;

std::string cell(const Value& value) {
    if (const bool* boolean = value.asBoolean())
        return *boolean ? "yes" : "no";
    if (const std::string* text = value.asText())
        return printable(*text);
    if (const platform::Date* date = value.asDate())
        return date->iso8601().value_or("-");
    return value.isNull() ? "-" : printable(jsonText(value).value_or("(too large)"));
}

std::string heading(std::string key) {
    std::transform(key.begin(), key.end(), key.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return key;
}

// The keys of the first row are the headings.
std::vector<Row> cells(const Array& rows) {
    std::vector<Row> table(rows.empty() ? 0 : 1);
    for (const Value& value : rows) {
        Row row;
        for (const auto& [key, held] : *value.asDictionary()) {
            row.push_back(cell(held));
            if (table.size() == 1)
                table.front().push_back(heading(key));
        }
        table.push_back(std::move(row));
    }
    return table;
}

// The last column is not filled up: it may be long.
std::string tableText(const std::vector<Row>& table) {
    std::vector<std::size_t> widths(table.empty() ? 0 : table.front().size());
    for (const Row& row : table) {
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    }
    std::string text;
    for (const Row& row : table) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column)
            text += row[column] + std::string(widths[column] - row[column].size() + 2, ' ');
        text += row.back() + "\n";
    }
    return text;
}

std::string factsText(const platform::Dictionary& facts) {
    std::string text;
    for (const auto& [key, value] : facts) {
        const Array* rows = value.asArray();
        text += key + ": " +
                (!rows           ? cell(value) + "\n"
                 : rows->empty() ? "-\n"
                                 : "\n" + tableText(cells(*rows)));
    }
    return text;
}

std::string textFor(const Answer& answer) {
    const platform::Dictionary* facts = answer.data.asDictionary();
    if (facts && answer.sentence.empty())
        return factsText(*facts);
    const Array* rows = answer.data.asArray();
    return rows && (!rows->empty() || answer.sentence.empty()) ? tableText(cells(*rows))
                                                               : printable(answer.sentence) + "\n";
}

// Row by row: a list may be larger than one JSON text is written. Nothing when a row alone is.
std::optional<std::string> jsonFor(const Value& data) {
    const Array* rows = data.asArray();
    if (!rows)
        return jsonText(data);
    std::string text = "[";
    for (const Value& row : *rows) {
        const auto json = jsonText(row);
        if (!json)
            return std::nullopt;
        text.append(text.size() > 1 ? "," : "").append(*json);
    }
    return text + "]";
}

bool write(const std::string& text, std::FILE* stream) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
}

} // namespace

ExitCode print(const Answer& answer, Format format) {
    const auto json = format == Format::Json ? jsonFor(answer.data) : std::nullopt;
    if (format == Format::Json && !json)
        return print(Answer::failed("the answer is too large for JSON"), format);
    const bool isDone = answer.exitCode == ExitCode::Done;
    const bool isResult = isDone || answer.data.asArray(); // findings are what was asked for
    const bool isPrinted = json       ? write(*json + "\n", stdout)
                           : isResult ? write(textFor(answer), stdout)
                                      : write("kitwellctl: " + textFor(answer), stderr);
    return isDone && !isPrinted ? ExitCode::Failed : answer.exitCode;
}

ExitCode printHelp(const std::string& text) {
    return write(text, stdout) ? ExitCode::Done : ExitCode::Failed;
}

} // namespace kitwell::applications
