#include "store/one_piece.hpp"

Mutex pieceMutex;
