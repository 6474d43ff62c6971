// stemstrip.StripBank: many strips of one format through the SDK's Batch, a
// single core call per block for all of them (mono and stereo members then
// run side by side in vector lanes). Whole 16-sample blocks, no delay, no key.
#include <algorithm>
#include <cstring>
#include <mutex>

#include "argument_checks.hpp"
#include "audio_arrays.hpp"
#include "bindings.hpp"
#include "conversions.hpp"
#include "stemstrip/batch.hpp"

namespace stemstrip::python {
namespace {

constexpr int kBlock = 16;
constexpr int kCapacity = 2048;  // frames per core call

class StripBank {
public:
    StripBank(const std::string& format, int count, double sampleRate, const std::optional<std::string>& preset,
              const Assignments& assignments)
        : settings_(std::max(count, 0), SettingsFrom({}, preset, assignments)),
          batch_(FormatNamed(format), settings_.empty() ? Settings{} : settings_[0], sampleRate, count, kCapacity) {}

    int size() const { return batch_.size(); }
    int channels() const { return batch_.channels(); }

    py::list settings() const {
        py::list all;
        for (const Settings& s : settings_) all.append(SettingsDict(s));
        return all;
    }

    void set(int member, const Assignments& assignments) {
        runtime::CheckIndex("member", member, size());
        const Settings s = SettingsFrom(settings_[member], {}, assignments);
        std::lock_guard lock(processing_);
        batch_.setSettings(member, s);
        settings_[member] = s;
    }

    Samples process(const py::handle& audio) {
        const int members = size(), ch = channels();
        const Samples in = CheckedAudio(audio, "audio", {members, ch},
                                        "(" + std::to_string(members) + ", " + std::to_string(ch) +
                                            ", frames): members, then channels, then frames");
        const py::ssize_t frames = Frames(in);
        if (frames % kBlock != 0)
            throw py::value_error("audio: " + std::to_string(frames) + " frames is not a multiple of " +
                                  std::to_string(kBlock) + "; a StripBank processes whole 16-frame blocks");
        Samples out = SameShape(in);
        const float* inBase = in.data();
        float* outBase = out.mutable_data();
        py::gil_scoped_release released;
        std::lock_guard lock(processing_);
        for (py::ssize_t done = 0, n = 0; done < frames; done += n) {
            n = std::min<py::ssize_t>(kCapacity, frames - done);
            const size_t bytes = sizeof(float) * n;
            for (int m = 0; m < members; ++m)
                for (int c = 0; c < ch; ++c)
                    std::memcpy(batch_.input(m, c), inBase + (m * ch + c) * frames + done, bytes);
            batch_.process(static_cast<int>(n));
            for (int m = 0; m < members; ++m)
                for (int c = 0; c < ch; ++c)
                    std::memcpy(outBase + (m * ch + c) * frames + done, batch_.output(m, c), bytes);
        }
        return out;
    }

    py::dict readMeters(int member) { return MetersDict(batch_.readMeters(member)); }

private:
    std::vector<Settings> settings_;
    Batch batch_;
    std::mutex processing_;  // members' settings change between calls, never during one
};

}  // namespace

void BindStripBank(py::module_& m) {
    py::class_<StripBank>(m, "StripBank")
        .def(py::init<const std::string&, int, double, const std::optional<std::string>&, const Assignments&>(),
             py::arg("format"), py::arg("count"), py::arg("sample_rate"), py::arg("preset"), py::arg("assignments"))
        .def_property_readonly("settings", &StripBank::settings)
        .def("_set", &StripBank::set, py::arg("member"), py::arg("assignments"))
        .def("process", &StripBank::process, py::arg("audio"))
        .def("__call__", &StripBank::process, py::arg("audio"))
        .def("read_meters", &StripBank::readMeters, py::arg("member"))
        .def("__len__", &StripBank::size)
        .def_property_readonly("channels", &StripBank::channels)
        .def_property_readonly("latency", [](const StripBank&) { return 0; });
}

}  // namespace stemstrip::python
