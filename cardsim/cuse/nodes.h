// The card behind two device nodes of the whole machine.
#pragma once

#include "../options.h"

// Serves the nodes until a signal asks for the end. Returns the exit status.
int serve_nodes(const options& given);
