#pragma once

#include <thread>
#include <vector>

// Runs the function simultaneously in this many threads, with the number of each, from 0.
template <typename Function>
void inThreads(int count, Function function)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(function, number);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}
