// Prints the code page in which the console shows what programs write.
#include <windows.h>

#include <iostream>

int main() {
  std::ios::sync_with_stdio(false);  // the line in one piece, with no control sequence of the terminal inside
  std::cout << "page " << ::GetConsoleOutputCP() << '\n';
}
