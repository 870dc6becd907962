#include <cstdio>

int main() {
    std::printf("kavix\n");
    return 0;
}
