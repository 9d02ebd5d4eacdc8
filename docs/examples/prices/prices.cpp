// Keeps a collection of prices and changes one of them twenty times a second: prices COLLECTION [SECONDS]
// To see them: HALYX_TYPE_PATH=(this folder) halyx -p COLLECTION
#include "Quote.h"

#include <halyx/Writer.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: prices COLLECTION [SECONDS]\n");
        return 2;
    }
    try {
        halyx::Options options;
        options.valueType = "Quote";
        options.valueSize = sizeof(Quote);
        options.description = PRICES_FOLDER "/Quote.h"; // what is printed is what was compiled, or create() says so
        options.classType = "Prices";
        options.keyOf = halyx::keyAt(offsetof(Quote, symbol), sizeof Quote::symbol);
        halyx::Writer writer = halyx::Writer::create(argv[1], options);

        const char* const symbols[] = {"COCOA", "COFFEE", "SUGAR", "TEA"};
        for (const char* symbol : symbols) {
            Quote quote{};
            std::strcpy(quote.symbol, symbol);
            quote.price = 100;
            writer.put(halyx::bytesOf(quote));
        }
        writer.publish(); // from here on readers see it
        std::printf("ready %s\n", writer.name().c_str());
        std::fflush(stdout);

        std::mt19937 random;
        for (int left = argc > 2 ? std::atoi(argv[2]) * 20 : -1; left != 0; --left) {
            char key[sizeof Quote::symbol]{};
            std::strcpy(key, symbols[random() % 4]);
            Quote quote;
            std::memcpy(&quote, writer.find({key, sizeof key})->data(), sizeof quote);
            quote.price += static_cast<int>(random() % 201) / 100.0 - 1;
            quote.volume += random() % 1000;
            ++quote.changes;
            writer.put(halyx::bytesOf(quote));
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    } catch (const halyx::Error& error) {
        std::fprintf(stderr, "prices: %s\n", error.what());
        return 1;
    }
    return 0;
}
