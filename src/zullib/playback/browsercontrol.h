/// Text commands and a status query for the browser's controller, over its message queue.
#pragma once

/// Sends a text command, such as "-k16" for a key; "-a" asks for the status instead. Blocks while the queue is full.
/// \param argc    not used
/// \param buffer  the text, of which at most 1020 characters go out
/// \return 0, or -1 on failure
int sendMessgageToKonqueror(int argc, const char* buffer);

/// Asks the controller for the browser's status; takes up to 2.5 s. Call it through sendMessgageToKonqueror.
/// \return the status number, or -1 without an answer
int isAlive();
