#pragma once
inline bool IsRememberSortedColumn() { return false; }
