-- Runs a statement when a transaction that adds or changes a message is committed. A constraint does it: a store refuses a
-- table of messages that has a trigger.
CREATE OR REPLACE FUNCTION public.f() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN BODY RETURN NULL; END $$;
CREATE TABLE IF NOT EXISTS public.t ();
DROP TRIGGER IF EXISTS t ON public.t;
CREATE CONSTRAINT TRIGGER t AFTER INSERT ON public.t DEFERRABLE INITIALLY DEFERRED
    FOR EACH ROW EXECUTE FUNCTION public.f();
CREATE OR REPLACE FUNCTION public.g() RETURNS boolean LANGUAGE plpgsql
    AS $$ BEGIN INSERT INTO public.t DEFAULT VALUES; RETURN true; END $$;
ALTER TABLE orvex.messages DROP CONSTRAINT IF EXISTS g, ADD CONSTRAINT g CHECK (public.g()) NOT VALID;
