#pragma once
// The command line of gen and the process-wide settings it fills. Only
// commandline() writes the settings; main reads them.

extern char* exp_path;       // -P: file-name prefix of the results, owned (array new)
extern char* ExpName;        // -N: experiment name, owned (array new)
extern int ExpNum;           // -B: experiment number, default 0
extern double hash_value;    // -h: load factor of the state store, default 0.5
extern short flagAbsorb;     // -a: 1 when given, default 0
extern char* OverrideString; // -O: global-variable override string, owned (malloc)
extern char* db_host;        // -s: database server host, owned (array new)
extern char* db_entity;      // -e: database entity, owned (array new)
extern int TempTraceLevel;   // -l: trace level 0 to 4, default 0
extern bool BinaryRows;      // --binary-rows: rows and records in the binary part form

// Parses argv into the settings (reset to their defaults first), printing the
// echo lines on standard output. With fewer than three arguments after the program
// name it prints the usage text and ends the process with status 0. fileType
// receives -F; traceFileName (null or a malloc'd text, which -t replaces) receives
// a strdup copy of -t.
void commandline(int argc, char** argv, int& fileType, char*& traceFileName);

// Releases the owned settings and puts every setting back to its default.
void resetCommandLineSettings();
