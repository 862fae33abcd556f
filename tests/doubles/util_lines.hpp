/*
 * What was logged, in order, with the parts that all lines share checked on the way.
 *
 * Any thread; takes the recorded log's lock.
 */
#pragma once

#include <string>
#include <vector>

/**
 * "LEVEL FUNCTION: TEXT" of every line. Expects of each the daemon's module, the base name
 * kov_hwinv_util and a source line.
 */
std::vector<std::string> utilLines();

/** The same of one function's lines alone, which others' may surround. */
std::vector<std::string> utilLinesOf(const std::string& function);

/** The functions that logged, in order, each named once for lines in a row. */
std::vector<std::string> loggingFunctions();
