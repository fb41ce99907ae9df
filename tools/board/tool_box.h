/// The board's command-line tools, m710cmmd and m710cmd: scripts on the PATH that pass their arguments to the board.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "journal.h"

namespace board {

class ToolBox {
 public:
    /// Puts the tools at the start of this process's PATH, for the shells that the module starts.
    /// \param run  called with each line, such as "m710cmmd -atsc 7"; the tool ends when it returns
    explicit ToolBox(std::function<void(const std::string&)> run);
    ~ToolBox();
    ToolBox(const ToolBox&) = delete;
    ToolBox& operator=(const ToolBox&) = delete;

    /// The lines that were run, starting with the tool.
    Journal<std::string>& Lines() { return mLines; }

 private:
    void Run();

    const std::function<void(const std::string&)> mRun;
    Journal<std::string> mLines;
    int mOrders = -1;   ///< pipe of lines from the tools
    int mAnswers = -1;  ///< pipe on which a tool waits for completion
    std::thread mThread;
};

}  // namespace board
