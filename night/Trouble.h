#pragma once

#include <string>
#include <vector>

#include "Machine.h"

/** A register of a machine, with its place on a page. */
struct Entry {
    const Machine* machine;
    std::string name;
    const RegisterNights* nights;
    std::vector<const JobStatus*> jobs;
    size_t place;

    std::string GetName() const { return machine->name + ": " + name; }
    /** To its own part. */
    std::string GetLink() const;
    /** The jobs that are not well. */
    std::vector<const JobStatus*> GetTrouble() const;
    /** The worst of its jobs. */
    std::string GetClass() const;
};

/** A heading with cards in HTML. */
struct CardSection {
    const char* heading;
    const char* note;  // below it, or empty
    std::vector<std::string> cards;
};

/** What a person has to look at, the most urgent first. */
std::vector<CardSection> FindTrouble(const std::vector<Machine>& machines, const std::vector<Entry>& entries);

/** Of a job that was not good for long, the class of what happened last. */
std::string GetShownClass(const JobStatus& job);
/** "2026-11-21 23:30"; "never" for 0. */
std::string FormatMinute(long long ms);
