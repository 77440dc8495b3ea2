#include <iostream>

int main() { std::cout << "something else\n"; }
