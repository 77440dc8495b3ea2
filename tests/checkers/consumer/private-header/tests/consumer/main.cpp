#include "QVFoundation/Private_p.h"

int main() {}
