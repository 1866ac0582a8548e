"""How figures of several runs are told."""
import statistics


def spread(values):
    return {"min": min(values), "median": statistics.median(values), "max": max(values),
            "runs": len(values)}
