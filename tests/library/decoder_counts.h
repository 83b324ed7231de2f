/// \file
/// \brief How often libmpg123 has been set up and left. Replaces `mpg123_init` and `mpg123_exit` in the
/// program and the libraries that it loads.
#pragma once

int decoder_inits();
int decoder_exits();
