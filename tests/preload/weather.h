// What a test tells a program with short_waits before the system's library, and what it finds
// there: tests/screens/support/weather.py.
#pragma once

#include <atomic>
#include <cstdint>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

constexpr char WEATHER[] = "/run/wardenlink-weather";

// The file, in the order in which weather.py has it.
struct Weather {
    std::atomic<int64_t> lostPercent;
    std::atomic<int64_t> clockShift; // seconds
    std::atomic<int64_t> idlePercent;
    std::atomic<int64_t> passes;
    std::atomic<int64_t> idlePasses; // of them, those without a key for that reason
    std::atomic<int64_t> keys;       // bytes read
    std::atomic<int64_t> lostAnswers;
    std::atomic<int64_t> lateAnswers;
};

// Memory of its own where there is no file.
inline Weather* MapWeather()
{
    int fd = open(WEATHER, O_RDWR | O_CLOEXEC);
    int flags = MAP_SHARED | (fd < 0 ? MAP_ANONYMOUS : 0);
    void* page = mmap(nullptr, sizeof(Weather), PROT_READ | PROT_WRITE, flags, fd, 0);
    if (fd >= 0)
        close(fd);
    return static_cast<Weather*>(page);
}

inline Weather& Outside()
{
    static Weather* const weather = MapWeather();
    return *weather;
}

// The same ones in every run.
inline bool HappensByChance(uint64_t& state, int64_t percent)
{
    state = state * 6364136223846793005 + 1442695040888963407;
    return static_cast<int64_t>((state >> 33) % 100) < percent;
}

// What becomes of a request and of its answer.
enum Fate { IS_ANSWERED, REQUEST_IS_LOST, ANSWER_IS_LOST, ANSWER_IS_LATE };

// Half of what is lost are answers: what they answer was obeyed. Where all is lost it is the
// requests alone, or one would wait for answers that cannot come.
inline Fate ChooseFate()
{
    static uint64_t state = 1;
    int64_t lost = Outside().lostPercent;
    if (!HappensByChance(state, lost))
        return IS_ANSWERED;
    if (lost >= 100 || HappensByChance(state, 50))
        return REQUEST_IS_LOST;
    return HappensByChance(state, 50) ? ANSWER_IS_LOST : ANSWER_IS_LATE;
}
