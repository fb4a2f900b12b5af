#pragma once
// ResultsDB: the link to a results database. In this build every write does
// nothing and reports success; the connection details are only stored.

class BaseStudyClass;

class ResultsDB {
public:
    static constexpr int FieldWidth = 100; // characters per text field, the NUL included

    // Texts longer than FieldWidth - 1 characters are truncated.
    ResultsDB(const char* host, int port, const char* user, const char* password,
              const char* database);
    ~ResultsDB() = default;
    ResultsDB(const ResultsDB&) = default;
    ResultsDB& operator=(const ResultsDB&) = default;

    // Copies each non-null text into its field; stores port unless it is -1.
    void setDBInfo(const char* host, int port, const char* user, const char* password,
                   const char* database);

    bool init(const char*, int, const char*, const char*, const char*) { return true; }
    int getRunId(const char*) { return -1; }
    bool writeSingleGV(const char*, const char*, const char*, const void*) { return true; }
    bool writeGVValues(BaseStudyClass*, const char*) { return true; }
    bool writeSSGExperInfo(const char*, unsigned long) { return true; }

    char host[FieldWidth] = {};     // first argument
    int port = -1;                  // second argument
    char database[FieldWidth] = {}; // fifth argument
    char spare[FieldWidth] = {};    // unused in this build
    char user[FieldWidth] = {};     // third argument
    char password[FieldWidth] = {}; // fourth argument
};
