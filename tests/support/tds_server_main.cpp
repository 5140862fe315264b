// tds_server_program [--port N] [--user U] [--password P] [--database D] [--file STATEMENTS.sql]
//
// The stand-in for SQL Server as a program, for scripts: runs the statements of the file in the
// database, prints its port as one line, and serves until its standard input ends or it is killed.
// A query that is written to its standard input, one a line, is answered with the rows as they are
// stored, and a line ".".

#include "support/tds_server.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
    vantry::test::TdsOptions options;
    std::string file;
    for (int k = 1; k + 1 < argc; k += 2) {
        const std::string name = argv[k];
        const std::string value = argv[k + 1];
        if (name == "--port") {
            options.port = std::stoi(value);
        } else if (name == "--user") {
            options.user = value;
        } else if (name == "--password") {
            options.password = value;
        } else if (name == "--database") {
            options.databases = {value};
        } else if (name == "--file") {
            file = value;
        } else {
            std::fprintf(stderr, "tds_server_program: no such option: %s\n", name.c_str());
            return 2;
        }
    }
    try {
        vantry::test::TdsServer server(options);
        const auto& database = options.databases.front();
        if (!file.empty()) {
            std::ifstream in(file, std::ios::binary);
            server.Run({std::istreambuf_iterator<char>(in), {}}, database);
        }
        std::printf("%d\n", server.Port());
        std::fflush(stdout);
        for (std::string query; std::getline(std::cin, query);) {
            try {
                std::printf("%s", server.Rows(query, database).c_str());
            } catch (const std::exception& error) {
                std::printf("%s\n", error.what());
            }
            std::printf(".\n");
            std::fflush(stdout);
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tds_server_program: %s\n", error.what());
        return 1;
    }
}
