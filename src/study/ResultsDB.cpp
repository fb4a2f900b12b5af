#include "study/ResultsDB.h"

#include <cstring>

namespace {

// Copies text into a field, truncated to the field's width.
void copyField(char (&field)[ResultsDB::FieldWidth], const char* text) {
    if (text == nullptr)
        return;
    std::size_t length = std::strlen(text);
    if (length > ResultsDB::FieldWidth - 1)
        length = ResultsDB::FieldWidth - 1;
    std::memcpy(field, text, length);
    field[length] = '\0';
}

} // namespace

ResultsDB::ResultsDB(const char* host, int port, const char* user, const char* password,
                     const char* database) {
    setDBInfo(host, port, user, password, database);
}

void ResultsDB::setDBInfo(const char* host, int port, const char* user, const char* password,
                          const char* database) {
    copyField(this->host, host);
    if (port != -1)
        this->port = port;
    copyField(this->user, user);
    copyField(this->password, password);
    copyField(this->database, database);
}
