/*
 * The style and the script of the page that a picture can be written as. Nothing outside the page
 * is loaded, and the page's own policy forbids it.
 *
 * Constant.
 */
#pragma once

namespace inspect
{

extern const char* const pageHead;
extern const char* const pageScript;

} // namespace inspect
