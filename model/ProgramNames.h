#pragma once

// The names the program's folders and settings go by. The window and the command-line tool
// both take them, so that they find the same site memory.
class ProgramNames
{
public:
    static void apply();
};
