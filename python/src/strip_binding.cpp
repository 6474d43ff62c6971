// stemstrip.Strip: one SDK Instance driven from Python. process() reads the
// caller's rows in place and runs with the GIL released; a per-strip mutex
// keeps two Python threads from processing the same strip at once (the
// instance has one audio thread).
#include <algorithm>
#include <mutex>
#include <optional>

#include "audio_arrays.hpp"
#include "bindings.hpp"
#include "channel_layout.hpp"
#include "conversions.hpp"
#include "meter_summary.hpp"
#include "stemstrip/instance.hpp"

namespace stemstrip::python {
namespace {

// Longest single call into the instance; longer arrays are cut into calls of
// this size, which gives the same samples.
constexpr py::ssize_t kMaxCall = 1 << 20;

std::string RateText(double hz) { return py::str(py::float_(hz)).cast<std::string>() + " Hz"; }

class Strip {
public:
    Strip(const std::string& format, double sampleRate, const std::optional<std::string>& preset,
          const Assignments& assignments)
        : instance_(FormatNamed(format), SettingsFrom({}, preset, assignments), sampleRate) {}

    py::object settings() const { return SettingsDict(instance_.settings()); }
    void set(const Assignments& assignments) { instance_.setSettings(SettingsFrom(instance_.settings(), {}, assignments)); }
    void reset() { instance_.reset(); }

    py::object process(const py::handle& audio, const py::handle& key, std::optional<double> sampleRate,
                       std::optional<py::ssize_t> meterBlock) {
        const Samples in = checkedAudio(audio);
        const std::optional<Samples> keyRows = checkedKey(key, Frames(in));
        if (sampleRate && *sampleRate != instance_.sampleRate())
            throw py::value_error("sample_rate: the audio's " + RateText(*sampleRate) + " differs from the strip's " +
                                  RateText(instance_.sampleRate()) + "; make a strip at the audio's rate");
        if (meterBlock && *meterBlock < 1)
            throw py::value_error("meter_block = " + std::to_string(*meterBlock) + ": must be at least 1 frame");

        Samples out = SameShape(in);
        std::vector<float> comp, exp;
        {
            py::gil_scoped_release released;
            std::lock_guard lock(processing_);
            run(in.data(), keyRows ? keyRows->data() : nullptr, out.mutable_data(), Frames(in), meterBlock, comp, exp);
        }
        if (!meterBlock) return out;
        py::dict trace;
        trace["block"] = *meterBlock;
        trace["comp_reduction_db"] = py::array_t<float>(static_cast<py::ssize_t>(comp.size()), comp.data());
        trace["exp_reduction_db"] = py::array_t<float>(static_cast<py::ssize_t>(exp.size()), exp.data());
        return py::make_tuple(std::move(out), trace);
    }

    // Maxima since the previous read, including what process() took for its
    // gain-reduction trace meanwhile.
    py::dict readMeters() {
        std::lock_guard lock(heldMutex_);
        MeterSnapshot m = instance_.readMeters();
        if (held_) {
            cli::AccumulateMeters(*held_, m);
            m = *held_;
            held_.reset();
        }
        return MetersDict(m);
    }

    int latency() const { return instance_.latency(); }
    int channels() const { return instance_.channels(); }
    double sampleRate() const { return instance_.sampleRate(); }
    std::string format() const { return std::string(FormatName(instance_.format())); }
    std::vector<std::string> channelLabels() const {
        return cli::StripChannelLabels(cli::CanonicalMask(instance_.format()));
    }

private:
    Samples checkedAudio(const py::handle& audio) const {
        const int channels = instance_.channels();
        return CheckedAudio(audio, "audio", {channels},
                            channels == 1 ? "(frames,) or (1, frames) for a mono strip"
                                          : "(" + std::to_string(channels) + ", frames) for a " + format() +
                                                " strip: channels first");
    }

    // A script that turned the key on and passes none made a mistake (an
    // audio thread racing a control thread is another matter: the SDK then
    // detects from the programme).
    std::optional<Samples> checkedKey(const py::handle& key, py::ssize_t frames) const {
        if (key.is_none()) {
            if (instance_.settings().detector.externalKey)
                throw py::value_error("key: none given but detector.externalKey is on; pass key=, or turn it off");
            return std::nullopt;
        }
        Samples rows = CheckedAudio(key, "key", {1}, "(frames,) with the audio's " + std::to_string(frames) + " frames");
        if (Frames(rows) != frames)
            throw py::value_error("key: " + std::to_string(Frames(rows)) + " frames, the audio has " +
                                  std::to_string(frames) + "; the key must be exactly as long");
        if (!instance_.settings().detector.externalKey)
            throw py::value_error("key: given but detector.externalKey is off; turn it on to detect from the key");
        return rows;
    }

    // Planar rows of `frames` samples through the instance; with a meter
    // block, one call and one meter read per block.
    void run(const float* in, const float* key, float* out, py::ssize_t frames, std::optional<py::ssize_t> meterBlock,
             std::vector<float>& comp, std::vector<float>& exp) {
        const int channels = instance_.channels();
        const py::ssize_t step = std::min(meterBlock.value_or(kMaxCall), kMaxCall);
        std::vector<const float*> inRows(channels);
        std::vector<float*> outRows(channels);
        for (py::ssize_t done = 0, n = 0; done < frames; done += n) {
            n = std::min(step, frames - done);
            for (int c = 0; c < channels; ++c) {
                inRows[c] = in + c * frames + done;
                outRows[c] = out + c * frames + done;
            }
            instance_.process(inRows.data(), outRows.data(), static_cast<int>(n), key ? key + done : nullptr);
            if (meterBlock) {
                const MeterSnapshot m = readAndHold();
                comp.push_back(m.compReductionDb);
                exp.push_back(m.expReductionDb);
            }
        }
    }

    MeterSnapshot readAndHold() {
        std::lock_guard lock(heldMutex_);
        const MeterSnapshot m = instance_.readMeters();
        if (held_) cli::AccumulateMeters(*held_, m);
        else held_ = m;
        return m;
    }

    Instance instance_;
    std::mutex processing_;
    std::mutex heldMutex_;
    std::optional<MeterSnapshot> held_;
};

}  // namespace

void BindStrip(py::module_& m) {
    py::class_<Strip>(m, "Strip")
        .def(py::init<const std::string&, double, const std::optional<std::string>&, const Assignments&>(),
             py::arg("format"), py::arg("sample_rate"), py::arg("preset"), py::arg("assignments"))
        .def_property_readonly("settings", &Strip::settings)
        .def("_set", &Strip::set, py::arg("assignments"))
        .def("reset", &Strip::reset, "Start clean (filters, detectors, delay line) at the current settings.")
        .def("process", &Strip::process, py::arg("audio"), py::arg("key") = py::none(), py::kw_only(),
             py::arg("sample_rate") = py::none(), py::arg("meter_block") = py::none())
        .def("__call__", &Strip::process, py::arg("audio"), py::arg("key") = py::none(), py::kw_only(),
             py::arg("sample_rate") = py::none(), py::arg("meter_block") = py::none())
        .def("read_meters", &Strip::readMeters)
        .def_property_readonly("latency", &Strip::latency)
        .def_property_readonly("channels", &Strip::channels)
        .def_property_readonly("sample_rate", &Strip::sampleRate)
        .def_property_readonly("format", &Strip::format)
        .def_property_readonly("channel_labels", &Strip::channelLabels);
}

}  // namespace stemstrip::python
