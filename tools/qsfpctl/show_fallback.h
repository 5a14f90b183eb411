// Show text for a module whose driver gives none: the library's decoders and
// show-text builders over the pages the port can read, with a first line that
// says which view this is and why.
#pragma once

#include "command_context.h"

namespace qsfpctl {

// A CMIS-family module (no CMIS driver yet, or an identifier the library
// binds no driver to): the library's CMIS full view when pages 00h, 01h,
// 02h, 03h, 10h and 11h are readable, else its identifier view.
int show_cmis(Context &ctx, const OpenPort &port);

// An SFF-8636 module whose pages 01h-03h cannot be read (a capture of lower
// memory and page 00h only): the library's decoded records of the pages that
// are there, nothing made up for the others.
int show_sff8636_partial(Context &ctx, const OpenPort &port);

}  // namespace qsfpctl
