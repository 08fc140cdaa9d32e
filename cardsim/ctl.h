// haldo-cardsim ctl: one command for a card that runs.
#pragma once

// argv[0] is the word ctl. Returns the exit status.
int run_ctl(int argc, char** argv);
