#pragma once

// The program's entry: parses the command line, builds the store and the window.
class VelmoApplication {
public:
    static int run(int argc, char** argv);
};
