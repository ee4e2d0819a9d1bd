#pragma once

namespace parvel::sim {

// How the user answers the system's request for an administrator's name and password.
enum class AdministratorAnswer { Approve, Cancel };

// The administrator prompt of the simulated Mac: tests and scenarios choose the answer; the
// prompts shown are counted.
struct AdministratorPrompt {
    AdministratorAnswer answer = AdministratorAnswer::Approve;
    int prompts = 0;
};

}  // namespace parvel::sim
