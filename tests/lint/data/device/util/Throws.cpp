#include <string>

int number(const std::string& text) {
    try {
        return 1;
    } catch (...) {
        return text.empty();
    }
}
